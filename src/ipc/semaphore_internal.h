// One semaphore of a set at a time. Process-shared.
#pragma once

#include <chrono>

namespace watchpost {

/// Sets the value; semctl's result.
int SetSemaphore(int set_id, int index, int value) noexcept;

/// Sets the values of the set's first semaphores; semctl's result. `values` holds one for each
/// semaphore of the set.
int SetAllSemaphores(int set_id, unsigned short* values) noexcept;

/// Takes 1 away with SEM_UNDO: waits for it, or with `wait` false fails at once with EAGAIN. A
/// signal does not end the wait. semop's result.
int TakeSemaphore(int set_id, int index, bool wait) noexcept;

/// While one lives, waits of the thread that made it end after `limit`, and fail with EAGAIN: a
/// process may be stopped while it holds a semaphore, and a writer waits for nobody.
class ScopedWaitLimit {
 public:
  explicit ScopedWaitLimit(std::chrono::milliseconds limit) noexcept;
  ~ScopedWaitLimit();
  ScopedWaitLimit(const ScopedWaitLimit&) = delete;
  ScopedWaitLimit& operator=(const ScopedWaitLimit&) = delete;

  /// Whether a wait has failed so: what was to be waited for is not held, and its record is
  /// invalid.
  [[nodiscard]] bool HasExpired() const noexcept;
};

/// TakeSemaphore that waits for so long at most, below a second; errno is EAGAIN then.
int TakeSemaphoreWithin(std::chrono::milliseconds limit, int set_id, int index) noexcept;

/// Adds 1 with SEM_UNDO; semop's result.
int GiveSemaphore(int set_id, int index) noexcept;

/// Whether any process has ever been at the semaphore: without one its 0 says nothing.
bool WasUsed(int set_id, int index) noexcept;

}  // namespace watchpost
