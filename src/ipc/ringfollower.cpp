#include "ipc/ringfollower.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace watchpost {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kGrain{1};
constexpr milliseconds kLost{20};     // the grain for a camera that has stopped
constexpr milliseconds kNoRing{100};  // between looks for a ring
constexpr milliseconds kLongestInterval{1000};
constexpr milliseconds kSilence{2000};  // after which the ring may be another

}  // namespace

std::optional<LiveFrame> RingFollower::Next(milliseconds limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  for (;;) {
    if (attachment_.Get() == nullptr) (void)Attach();  // asked again below
    if (DataUnit* unit = Step()) {
      const Clock::time_point now = Clock::now();
      if (last_frame_ != Clock::time_point())
        interval_ =
            (3 * interval_ + std::min<Clock::duration>(now - last_frame_, kLongestInterval)) / 4;
      last_frame_ = now;
      return LiveFrame{unit->Payload(), unit->Size(), unit->GetTimestamp()};
    }
    const Clock::time_point now = Clock::now();
    if (attachment_.Get() != nullptr && IsReplaced()) {
      Detach();
      continue;
    }
    if (now >= deadline) return std::nullopt;
    std::this_thread::sleep_for(std::min<Clock::duration>(Pause(now), deadline - now));
  }
}

CAM_CONN_STATUS RingFollower::Status() const {
  CAM_CONN_STATUS status = CAM_CONN_NONE;
  if (attachment_.Get() != nullptr) (void)Ring()->ConnStatusGet(&status);  // not null
  return status;
}

bool RingFollower::Attach() {
  const int id = shmget(IPCKeyFromCameraId(camera_id_), 0, 0);
  if (id < 0) return false;
  ShmAttachment attachment(id);
  if (attachment.Get() == nullptr || attachment.Size() < sizeof(RingBuffer)) return false;
  if (!static_cast<RingBuffer*>(attachment.Get())->Fits(attachment.Size())) return false;
  attachment_ = std::move(attachment);
  segment_ = id;
  if (Status() == CAM_CONN_NONE) {  // not laid out yet, or about to go
    attachment_.Reset();
    return false;
  }
  ++attachments_;
  last_look_ = Clock::now();
  return true;
}

void RingFollower::Detach() {
  if (held_ != nullptr) (void)Ring()->ReadFinish(std::exchange(held_, nullptr));  // not null
  attachment_.Reset();
}

// A frame that was not seen yet; null when there is none.
DataUnit* RingFollower::Step() {
  if (attachment_.Get() == nullptr) return nullptr;
  DataUnit* next = held_ == nullptr ? Ring()->ReadLatest() : Ring()->ReadNext(held_);
  if (next == nullptr) return nullptr;
  if (held_ != nullptr) (void)Ring()->ReadFinish(held_);  // not null
  return held_ = next;
}

// A recorder that was killed could not say so: after some silence, whether the key names another
// segment by now.
bool RingFollower::IsReplaced() const {
  if (Status() == CAM_CONN_NONE) return true;
  const Clock::time_point now = Clock::now();
  if (now - std::max(last_frame_, last_look_) < kSilence) return false;
  return shmget(IPCKeyFromCameraId(camera_id_), 0, 0) != segment_;
}

RingFollower::Clock::duration RingFollower::Pause(Clock::time_point now) const {
  if (attachment_.Get() == nullptr) return kNoRing;
  const Clock::duration since = now - last_frame_;
  if (since > 2 * std::max<Clock::duration>(interval_, kLongestInterval)) return kLost;
  return std::max<Clock::duration>(interval_ / 2 - since, kGrain);
}

}  // namespace watchpost
