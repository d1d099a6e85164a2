#include "livering.h"

#include <watchpost/ipc/ringlayout.h>

#include <algorithm>
#include <string>

namespace wpd {
namespace {

constexpr std::chrono::seconds kLongestFull{2};
constexpr std::chrono::seconds kSteady{10};
constexpr std::chrono::seconds kNextTry{60};
// While nobody reads, this is what whoever comes next finds.
constexpr std::chrono::seconds kBetweenUnread{1};

std::string Title(int camera_id) {
  return "camera " + std::to_string(camera_id);
}

}  // namespace

LiveRing::LiveRing(int camera_id, std::uint64_t size)
    : camera_id_(camera_id),
      size_(static_cast<int>(size)),
      no_ring_(Title(camera_id) + ": live pictures now"),
      trouble_(Title(camera_id) + ": live pictures again", kSteady),
      too_large_(Title(camera_id) + ": live pictures again", kSteady) {}

void LiveRing::Create() {
  const watchpost::MutexLock lock(mutex_);
  if (size_ != 0) Replace();
}

void LiveRing::Remove() {
  const watchpost::MutexLock lock(mutex_);
  removed_ = true;
  host_.reset();
}

void LiveRing::SetStatus(CAM_CONN_STATUS status) {
  const watchpost::MutexLock lock(mutex_);
  status_ = status;
  if (host_ != nullptr) (void)host_->Ring().ConnStatusSet(status);  // cannot fail
}

void LiveRing::Replace() {
  host_.reset();
  std::string error;
  host_ = watchpost::RingHost::Create(camera_id_, size_, error);
  if (host_ == nullptr) {
    no_ring_.Begin(Title(camera_id_) + ": no live pictures, recording goes on without: " + error);
    next_try_ = Clock::now() + kNextTry;
    return;
  }
  no_ring_.End();

  (void)host_->Ring().ConnStatusSet(status_);  // cannot fail
  full_since_ = Clock::time_point::max();
}

bool LiveRing::Publish(const Frame& frame) {
  const watchpost::MutexLock lock(mutex_);
  if (host_ == nullptr && size_ != 0 && !removed_ && frame.steady >= next_try_) Replace();
  if (host_ == nullptr) return false;
  if (static_cast<int>(frame.size) > watchpost::ring::LargestFrame(size_)) {
    // What is in the ring would pass for the present picture.
    if (too_large_.Begin(Title(camera_id_) +
                         ": no live pictures, they are larger than a fifth of the ring; "
                         "raise ring_kibibytes")) {
      Replace();
    }
    return false;
  }
  too_large_.End();
  const bool watched = host_->HasReaders();
  if (!watched && frame.steady < next_unread_) return false;
  next_unread_ = frame.steady + kBetweenUnread;
  using Published = watchpost::RingHost::Published;
  const Published published = host_->Publish(frame.data, static_cast<int>(frame.size));
  if (published == Published::kDone) {
    full_since_ = Clock::time_point::max();
    trouble_.End();
    return watched;
  }
  full_since_ = std::min(full_since_, frame.steady);
  if (published == Published::kFull && frame.steady - full_since_ < kLongestFull) return watched;
  trouble_.Begin(Title(camera_id_) + ": a reader keeps its live picture; beginning another ring");
  Replace();
  if (host_ != nullptr) (void)host_->Publish(frame.data, static_cast<int>(frame.size));  // has room
  return watched;
}

}  // namespace wpd
