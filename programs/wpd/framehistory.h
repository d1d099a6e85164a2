// The frames of the last seconds, for recordings that begin before the motion they are about. One
// thread uses an object.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <vector>

#include "frame.h"

namespace wpd {

class FrameHistory {
 public:
  /// Keeps the frames of `span`, and no more than `most_bytes` of them.
  FrameHistory(std::chrono::milliseconds span, std::size_t most_bytes)
      : span_(span), most_bytes_(most_bytes) {}

  /// Keeps a copy of a frame with its motion level, and lets go of what is too old or too much.
  /// False when there was too much: some frames of the span are missing.
  bool Add(const Frame& frame, int level);

  void Clear();

  struct Kept {
    Frame frame;  ///< of `bytes`
    int level;
    std::vector<unsigned char> bytes;
  };

  /// The oldest first.
  [[nodiscard]] const std::deque<Kept>& Frames() const { return frames_; }

 private:
  void DropOldest();

  const std::chrono::milliseconds span_;
  const std::size_t most_bytes_;
  std::size_t bytes_ = 0;
  std::deque<Kept> frames_;
  std::vector<unsigned char> spare_;  // memory of a frame that was let go
};

}  // namespace wpd
