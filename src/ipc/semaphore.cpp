#include "ipc/semaphore_internal.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>
#include <cstddef>

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
#include <sanitizer/tsan_interface.h>
#endif

namespace watchpost {
namespace {

// What semctl(2) takes: programs must define the union themselves, and a bare int in its place
// fails on machines that pass unions otherwise.
union SemctlArgument {
  int val;
  semid_ds* buf;
  unsigned short* array;
  seminfo* info;
};

thread_local long wait_limit_ns = 0;  // 0 for none; below a second
thread_local bool wait_expired = false;

// ThreadSanitizer does not see what semop orders: it is given an address for each semaphore, which
// is the same for every mapping and copy of a lock.
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
char* AddressOf(int set_id, int index) {
  static char addresses[1 << 16];
  return &addresses[static_cast<std::size_t>(set_id * 4099 + index) % sizeof addresses];
}
void Acquired(int set_id, int index) {
  __tsan_acquire(AddressOf(set_id, index));
}
void Releasing(int set_id, int index) {
  __tsan_release(AddressOf(set_id, index));
}
#else
void Acquired(int /*set_id*/, int /*index*/) {}
void Releasing(int /*set_id*/, int /*index*/) {}
#endif

}  // namespace

ScopedWaitLimit::ScopedWaitLimit(std::chrono::milliseconds limit) noexcept {
  wait_limit_ns = static_cast<long>(std::chrono::nanoseconds(limit).count());
  wait_expired = false;
}

ScopedWaitLimit::~ScopedWaitLimit() {
  wait_limit_ns = 0;
}

bool ScopedWaitLimit::HasExpired() const noexcept {
  return wait_expired;
}

int SetSemaphore(int set_id, int index, int value) noexcept {
  SemctlArgument argument{};
  argument.val = value;
  Releasing(set_id, index);
  return semctl(set_id, index, SETVAL, argument);
}

int SetAllSemaphores(int set_id, unsigned short* values) noexcept {
  SemctlArgument argument{};
  argument.array = values;
  return semctl(set_id, 0, SETALL, argument);
}

int TakeSemaphore(int set_id, int index, bool wait) noexcept {
  sembuf take{static_cast<unsigned short>(index),
              -1,
              static_cast<short>(wait ? SEM_UNDO : SEM_UNDO | IPC_NOWAIT)};
  const timespec limit{0, wait_limit_ns};
  const timespec* const bound = wait && wait_limit_ns > 0 ? &limit : nullptr;
  int result = semtimedop(set_id, &take, 1, bound);
  // Passing because of a signal would be passing without the lock.
  while (result != 0 && wait && errno == EINTR) result = semtimedop(set_id, &take, 1, bound);
  if (result != 0 && bound != nullptr && errno == EAGAIN) wait_expired = true;
  if (result == 0) Acquired(set_id, index);
  return result;
}

int TakeSemaphoreWithin(std::chrono::milliseconds limit, int set_id, int index) noexcept {
  sembuf take{static_cast<unsigned short>(index), -1, SEM_UNDO};
  const timespec bound{0, static_cast<long>(std::chrono::nanoseconds(limit).count())};
  const int result = semtimedop(set_id, &take, 1, &bound);
  if (result == 0) Acquired(set_id, index);
  return result;
}

int GiveSemaphore(int set_id, int index) noexcept {
  sembuf give{static_cast<unsigned short>(index), 1, SEM_UNDO};
  Releasing(set_id, index);
  return semop(set_id, &give, 1);
}

bool WasUsed(int set_id, int index) noexcept {
  return semctl(set_id, index, GETPID) != 0;
}

}  // namespace watchpost
