#include "ipc/rwlock.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>
#include <cstddef>
#include <type_traits>

#include "ipc/semctl_internal.h"

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
#include <sanitizer/tsan_interface.h>
#endif

namespace {

// ThreadSanitizer does not see what semop orders: it is told, with an address a semaphore, which is
// the same for every mapping and copy of a lock.
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
char* AddressOf(int set_id, int semaphore) {
  static char addresses[1 << 16];
  return &addresses[static_cast<std::size_t>(set_id * 4099 + semaphore) % sizeof addresses];
}
void Acquired(int set_id, int semaphore) {
  __tsan_acquire(AddressOf(set_id, semaphore));
}
void Releasing(int set_id, int semaphore) {
  __tsan_release(AddressOf(set_id, semaphore));
}
#else
void Acquired(int /*set_id*/, int /*semaphore*/) {}
void Releasing(int /*set_id*/, int /*semaphore*/) {}
#endif

}  // namespace

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
  sembuf take{static_cast<unsigned short>(base_ + offset),
              -1,
              static_cast<short>(wait ? SEM_UNDO : SEM_UNDO | IPC_NOWAIT)};
  int result = semop(set_id_, &take, 1);
  // Passing because of a signal would be passing without the lock.
  while (result != 0 && wait && errno == EINTR) result = semop(set_id_, &take, 1);
  if (result == 0) Acquired(set_id_, base_ + offset);
  return result;
}

int RWLock::SemSignal(SEMOFFSET offset) noexcept {
  // The last look at the record: whoever has the semaphore next may overwrite it.
  const int set_id = set_id_;
  sembuf give{static_cast<unsigned short>(base_ + offset), 1, SEM_UNDO};
  Releasing(set_id, give.sem_num);
  return semop(set_id, &give, 1);
}

int RWLock::Init(int semSetId, int base) noexcept {
  set_id_ = semSetId;
  base_ = base;
  read_requests_ = 0;
  read_grants_ = 0;
  write_requests_ = 0;
  write_grants_ = 0;
  constexpr int kFirstValues[] = {1, 1, 0, 0};  // by SEMOFFSET
  int result = 0;
  for (int offset = COUNTERS; offset <= WRITE_GO && result == 0; ++offset) {
    Releasing(set_id_, base_ + offset);
    result = watchpost::SetSemaphore(set_id_, base_ + offset, kFirstValues[offset]);
  }
  return result;
}

int RWLock::Destroy() noexcept {
  return 0;
}

int RWLock::ReadLock() noexcept {
  (void)LockCounters(true);  // results of blocking operations are not looked at, by contract
  ++read_requests_;
  if (write_requests_ == 0) {
    ++read_grants_;
    (void)SignalRead();
  }
  (void)UnlockCounters();
  (void)WaitRead(true);
  return 0;
}

int RWLock::TryReadLock() noexcept {
  if (LockCounters(false) != 0) return -1;
  const bool admitted = write_requests_ == 0;
  if (admitted) {
    ++read_requests_;
    ++read_grants_;
  }
  (void)UnlockCounters();
  return admitted ? 0 : -1;
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
  (void)UnlockWrite();
  (void)LockCounters(true);
  --write_requests_;
  --write_grants_;
  if (write_requests_ == 0) {
    for (; read_grants_ < read_requests_; ++read_grants_) (void)SignalRead();
  }
  (void)UnlockCounters();
  return 0;
}
