// A mutex whose use clang's thread-safety analysis checks (scripts/check): what it guards is
// annotated WATCHPOST_GUARDED_BY, what wants it held WATCHPOST_REQUIRES. Other compilers read past
// the annotations.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define WATCHPOST_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define WATCHPOST_THREAD_ANNOTATION(x)
#endif
#define WATCHPOST_GUARDED_BY(x) WATCHPOST_THREAD_ANNOTATION(guarded_by(x))
#define WATCHPOST_REQUIRES(...) WATCHPOST_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define WATCHPOST_EXCLUDES(...) WATCHPOST_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace watchpost {

class WATCHPOST_THREAD_ANNOTATION(capability("mutex")) Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void Lock() WATCHPOST_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
  void Unlock() WATCHPOST_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  bool TryLock() WATCHPOST_THREAD_ANNOTATION(try_acquire_capability(true)) {
    return mutex_.try_lock();
  }

 private:
  friend class Condition;
  std::mutex mutex_;
};

/// Holds a mutex for a scope.
class WATCHPOST_THREAD_ANNOTATION(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) WATCHPOST_THREAD_ANNOTATION(acquire_capability(mutex))
      : mutex_(mutex) {
    mutex_.Lock();
  }
  ~MutexLock() WATCHPOST_THREAD_ANNOTATION(release_capability()) { mutex_.Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

/// What threads wait for under a mutex. Waking without a cause is normal: the caller looks again.
class Condition {
 public:
  using Clock = std::chrono::steady_clock;

  void Wait(Mutex& mutex) WATCHPOST_REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    condition_.wait(lock);
    (void)lock.release();  // the caller goes on holding it
  }

  /// False when the deadline has passed.
  bool WaitUntil(Mutex& mutex, Clock::time_point deadline) WATCHPOST_REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    const bool in_time = condition_.wait_until(lock, deadline) == std::cv_status::no_timeout;
    (void)lock.release();  // as above
    return in_time;
  }

  void WakeAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace watchpost
