#include "ipc/rwlock.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <type_traits>

#include "ipc/semaphore_internal.h"

void RWLock::AssertLayout() {
  static_assert(std::is_standard_layout_v<RWLock> && std::is_trivially_copyable_v<RWLock>);
  static_assert(sizeof(RWLock) == 24);
  static_assert(offsetof(RWLock, set_id_) == 0);
  static_assert(offsetof(RWLock, base_) == 4);
  static_assert(offsetof(RWLock, read_requests_) == 8);
  static_assert(offsetof(RWLock, read_grants_) == 12);
  static_assert(offsetof(RWLock, write_requests_) == 16);
  static_assert(offsetof(RWLock, write_grants_) == 20);
}

int RWLock::SemWait(SEMOFFSET offset, bool wait) noexcept {
  return watchpost::TakeSemaphore(set_id_, base_ + offset, wait);
}

// The last look at the record: whoever has the semaphore next may overwrite it.
int RWLock::SemSignal(SEMOFFSET offset) noexcept {
  return watchpost::GiveSemaphore(set_id_, base_ + offset);
}

void RWLock::SetRecord(int semSetId, int base, bool writing) noexcept {
  set_id_ = semSetId;
  base_ = base;
  read_requests_ = 0;
  read_grants_ = 0;
  write_requests_ = writing ? 1 : 0;
  write_grants_ = writing ? 1 : 0;
}

int RWLock::Init(int semSetId, int base) noexcept {
  SetRecord(semSetId, base, false);
  constexpr int kFirstValues[] = {1, 1, 0, 0};  // by SEMOFFSET
  int result = 0;
  for (int offset = COUNTERS; offset <= WRITE_GO && result == 0; ++offset) {
    result = watchpost::SetSemaphore(set_id_, base_ + offset, kFirstValues[offset]);
  }
  return result;
}

bool RWLock::InitForWriting(int semSetId, int base) noexcept {
  SetRecord(semSetId, base, true);
  if (LockWrite(false) != 0) return false;
  (void)UnlockCounters();
  return true;
}

int RWLock::Destroy() noexcept {
  return 0;
}

int RWLock::ReadLock() noexcept {
  (void)LockCounters(true);  // results of blocking operations are not looked at, by contract
  if (CountReader()) (void)SignalRead();
  (void)UnlockCounters();
  (void)WaitRead(true);
  return 0;
}

int RWLock::TryReadLock() noexcept {
  if (LockCounters(false) != 0) return -1;
  const bool admitted = write_requests_ == 0 && CountReader();
  (void)UnlockCounters();
  return admitted ? 0 : -1;
}

RWLock::Admission RWLock::Register(bool counters_held) noexcept {
  if (!counters_held && LockCounters(true) != 0) return Admission::kFailed;
  const bool admitted = CountReader();
  if (!counters_held) (void)UnlockCounters();
  return admitted ? Admission::kAdmitted : Admission::kWaits;
}

bool RWLock::Pass(Admission admission) noexcept {
  if (admission == Admission::kWaits) return WaitRead(true) == 0;
  return admission == Admission::kAdmitted;
}

bool RWLock::CountReader() noexcept {
  ++read_requests_;
  if (write_requests_ != 0) return false;
  ++read_grants_;
  return true;
}

int RWLock::ReadUnlock() noexcept {
  (void)LockCounters(true);
  --read_requests_;
  --read_grants_;
  if (read_grants_ == 0) {
    for (; write_grants_ < write_requests_; ++write_grants_) (void)SignalWrite();
  }
  (void)UnlockCounters();
  return 0;
}

int RWLock::WriteLock() noexcept {
  (void)LockCounters(true);
  ++write_requests_;
  if (read_grants_ == 0) {
    ++write_grants_;
    (void)SignalWrite();
  }
  (void)UnlockCounters();
  (void)WaitWrite(true);
  (void)LockWrite(true);
  return 0;
}

int RWLock::TryWriteLock() noexcept {
  if (LockCounters(false) != 0) return -1;
  const bool admitted = read_requests_ == 0 && write_requests_ == 0;
  if (admitted) {
    ++write_requests_;
    ++write_grants_;
    (void)LockWrite(true);  // nobody else is registered: does not wait
  }
  (void)UnlockCounters();
  return admitted ? 0 : -1;
}

int RWLock::WriteUnlock() noexcept {
  (void)LetReadersIn();
  return 0;
}

int RWLock::LetReadersIn() noexcept {
  int admitted = 0;
  (void)UnlockWrite();
  (void)LockCounters(true);
  --write_requests_;
  --write_grants_;
  if (write_requests_ == 0) {
    for (; read_grants_ < read_requests_; ++read_grants_, ++admitted) (void)SignalRead();
  }
  (void)UnlockCounters();
  return admitted;
}

bool RWLock::Exclude(bool waits) noexcept {
  constexpr std::chrono::milliseconds kLongest{5};
  const int taken = waits ? watchpost::TakeSemaphoreWithin(kLongest, set_id_, base_ + COUNTERS)
                          : LockCounters(false);
  if (taken != 0) return false;
  if (read_requests_ == 0 && write_requests_ == 0) return true;
  (void)UnlockCounters();
  errno = 0;
  return false;
}
