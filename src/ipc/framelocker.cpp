#include "ipc/framelocker_internal.h"

#include <sched.h>
#include <time.h>

#include <cerrno>

#include "ipc/semaphore_internal.h"
#include "ipc/sharedword_internal.h"

namespace watchpost {
namespace {

constexpr int kTries = 1000;
constexpr int kQuickTries = 100;
constexpr int kClaimTries = kQuickTries + 20;

// Others are at it for microseconds only: lets them go on.
void GiveWay(int tried) {
  if (tried < kQuickTries) {
    (void)sched_yield();
    return;
  }
  const timespec moment{0, 50000};
  (void)nanosleep(&moment, nullptr);  // waking early does no harm
}

}  // namespace

FrameLocker::FrameLocker(RingState& ring) noexcept : ring_(ring) {
  const int set_id = ring_.semaphores.SemSetId();
  for (int tried = 0; tried < kTries; ++tried) {
    state_ = kEmpty;
    if (ring_.IsEmpty()) return;
    state_ = kFailed;
    group_ = ring_.semaphores.OldestGroup();
    if (TakeSemaphore(set_id, group_ + RWLock::COUNTERS, true) != 0) return;
    if (Take()) return;
    (void)GiveSemaphore(set_id, group_ + RWLock::COUNTERS);
    if (state_ == kEmpty) return;
    GiveWay(tried);
  }
}

// Whether the counters that are held are those of the oldest unit.
bool FrameLocker::Take() noexcept {
  if (ring_.semaphores.OldestGroup() != group_) return false;
  const int oldest = LoadShared(ring_.oldest);
  if (ring_.IsEmpty()) {
    state_ = kEmpty;  // the group of the very first frame, which is not in place yet
    return false;
  }
  oldest_ = ring_.StoredUnit(oldest);
  if (oldest_ == nullptr || oldest_->GetSemOffset() != group_) return false;
  state_ = kHeld;
  return true;
}

void FrameLocker::Release() noexcept {
  if (state_ != kHeld) return;
  state_ = kEmpty;
  (void)GiveSemaphore(ring_.semaphores.SemSetId(), group_ + RWLock::COUNTERS);
}

bool FrameLocker::Lock(DataUnit& unit) noexcept {
  RWLock& lock = unit.GetLock();
  const RWLock::Admission admission = lock.Register(&unit == oldest_);
  Release();
  return lock.Pass(admission);
}

int FrameLocker::Claim(int set_id, int group) noexcept {
  for (int tried = 0; tried < kClaimTries; ++tried) {
    if (TakeSemaphore(set_id, group + RWLock::COUNTERS, false) == 0) return 0;
    if (errno != EAGAIN) return errno;
    if (!WasUsed(set_id, group + RWLock::COUNTERS)) return 0;
    GiveWay(tried);
  }
  return EAGAIN;
}

}  // namespace watchpost
