#include "framehistory.h"

#include <utility>

namespace wpd {

bool FrameHistory::Add(const Frame& frame, int level) {
  while (!frames_.empty() && frame.steady - frames_.front().frame.steady > span_) DropOldest();
  if (span_ == std::chrono::milliseconds(0)) return true;
  bool whole = true;
  for (; !frames_.empty() && bytes_ + frame.size > most_bytes_; whole = false) DropOldest();
  if (frame.size > most_bytes_) return false;

  std::vector<unsigned char> bytes = std::exchange(spare_, {});
  bytes.assign(frame.data, frame.data + frame.size);
  bytes_ += frame.size;
  frames_.push_back({frame, level, std::move(bytes)});
  frames_.back().frame.data = frames_.back().bytes.data();
  return whole;
}

void FrameHistory::DropOldest() {
  bytes_ -= frames_.front().frame.size;
  spare_ = std::move(frames_.front().bytes);
  frames_.pop_front();
}

void FrameHistory::Clear() {
  frames_.clear();
  bytes_ = 0;
}

}  // namespace wpd
