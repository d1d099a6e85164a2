#include <sched.h>
#include <sys/sem.h>
#include <time.h>

#include <cerrno>

#include "ipc/framelocker_internal.h"
#include "ipc/sharedword_internal.h"

namespace {

constexpr int kTries = 1000;
constexpr int kQuickTries = 100;

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

FrameLocker::FrameLocker(RingBuffer& ring, bool wants_oldest) noexcept
    : ring_(ring), wants_oldest_(wants_oldest) {
  for (int tried = 0; tried < kTries; ++tried) {
    state_ = kEmpty;
    if (IsEmpty()) return;
    state_ = kFailed;
    counters_.set_id_ = ring_.semaphores_.SemSetId();
    counters_.base_ = ring_.semaphores_.OldestGroup();
    if (counters_.LockCounters(true) != 0) return;
    if (Take()) return;
    (void)counters_.UnlockCounters();
    if (state_ == kEmpty) return;
    GiveWay(tried);
  }
}

bool FrameLocker::IsEmpty() const noexcept {
  const int oldest = watchpost::LoadShared(ring_.oldest_);
  const int write = watchpost::LoadShared(ring_.write_);  // before wrap_, see WriteAlloc
  return oldest == write && watchpost::LoadShared(ring_.wrap_) == 0;
}

// Whether the counters that are held are those of the oldest unit, and that unit is not just being
// evicted.
bool FrameLocker::Take() noexcept {
  const int group = counters_.base_;
  if (ring_.semaphores_.OldestGroup() != group) return false;
  const int oldest = watchpost::LoadShared(ring_.oldest_);
  if (IsEmpty()) {
    state_ = kEmpty;  // the group of the very first frame, which is not in place yet
    return false;
  }
  oldest_ = ring_.StoredUnit(oldest);
  if (oldest_ == nullptr || oldest_->sem_offset_ != group) return false;
  // The latest one is never evicted: its writer is filling or testing it, and will let go.
  if (wants_oldest_ && oldest_->lock_.write_requests_ != 0 &&
      watchpost::LoadShared(ring_.latest_) != oldest) {
    return false;
  }
  state_ = kHeld;
  return true;
}

void FrameLocker::Release() noexcept {
  if (state_ != kHeld) return;
  state_ = kEmpty;
  (void)counters_.UnlockCounters();
}

// Steps 2 and 3 of a reader's lock, under the counters. Returns whether it was admitted; else it is
// counted as waiting, and has to pass the gate.
bool FrameLocker::Register(RWLock& lock) noexcept {
  ++lock.read_requests_;
  if (lock.write_requests_ != 0) return false;
  ++lock.read_grants_;
  return true;
}

bool FrameLocker::Lock(DataUnit& unit) noexcept {
  RWLock& lock = unit.lock_;
  const bool is_other = &unit != oldest_;
  if (is_other && lock.LockCounters(true) != 0) return false;
  const bool admitted = Register(lock);
  if (is_other) (void)lock.UnlockCounters();
  Release();
  return admitted || lock.WaitRead(true) == 0;
}

bool FrameLocker::LockPinned(DataUnit& unit) noexcept {
  RWLock& lock = unit.lock_;
  if (lock.LockCounters(true) != 0) return false;
  const bool admitted = Register(lock);
  (void)lock.UnlockCounters();
  return admitted || lock.WaitRead(true) == 0;
}

int FrameLocker::Claim(int set_id, int group) noexcept {
  RWLock counters{};
  counters.set_id_ = set_id;
  counters.base_ = group;
  for (int tried = 0; tried < kQuickTries + 20; ++tried) {
    if (counters.LockCounters(false) == 0) return 0;
    if (errno != EAGAIN) return errno;
    // Nobody has ever been at a semaphore without a last process: its 0 says nothing.
    if (semctl(set_id, group + RWLock::COUNTERS, GETPID) == 0) return 0;
    GiveWay(tried);
  }
  return EAGAIN;
}
