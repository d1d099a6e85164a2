// Owner of one mutex of this process. Thread-safe.
#pragma once

#include <pthread.h>

#include <cerrno>

/// Of the default kind: not recursive.
class WPMutex {
 public:
  WPMutex() noexcept { (void)pthread_mutex_init(&mutex_, nullptr); }  // cannot fail without options
  WPMutex(const WPMutex&) = delete;
  WPMutex& operator=(const WPMutex&) = delete;

  ~WPMutex() {
    (void)IsLock();  // locked from here on, by whomever
    (void)UnLock();
    (void)pthread_mutex_destroy(&mutex_);
  }

  /// 0, or the error number of the lock call; so does UnLock.
  int Lock() noexcept { return pthread_mutex_lock(&mutex_); }
  int UnLock() noexcept { return pthread_mutex_unlock(&mutex_); }

  /// Whether it is locked. When it was not, it is now, by the caller.
  bool IsLock() noexcept { return pthread_mutex_trylock(&mutex_) == EBUSY; }

 private:
  pthread_mutex_t mutex_;
};
