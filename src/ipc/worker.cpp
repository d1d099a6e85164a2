#include "ipc/worker.h"

#include <ctime>
#include <type_traits>

#include "base/diagnostics_internal.h"

namespace {

constexpr char kLogSource[] = "worker";

}  // namespace

int Worker::Init() noexcept {
  static_assert(std::is_standard_layout_v<Worker> && std::is_trivially_copyable_v<Worker>);
  run_count_ = 0;
  pthread_mutexattr_t mutex_attributes;
  if (pthread_mutexattr_init(&mutex_attributes) != 0) {
    WP_LOG("pthread_mutexattr_init failed");
    return -1;
  }
  pthread_condattr_t condition_attributes;
  if (pthread_condattr_init(&condition_attributes) != 0) {
    WP_LOG("pthread_condattr_init() failed");
    (void)pthread_mutexattr_destroy(&mutex_attributes);
    return -1;
  }
  int error = pthread_mutexattr_setpshared(&mutex_attributes, PTHREAD_PROCESS_SHARED);
  if (error != 0) WP_LOG("pthread_mutexattr_setpshared() %d", error);
  error = pthread_condattr_setpshared(&condition_attributes, PTHREAD_PROCESS_SHARED);
  if (error != 0) WP_LOG("pthread_condattr_setpshared() %d", error);

  int result = -1;
  if (pthread_mutex_init(&mutex_, &mutex_attributes) != 0) {
    WP_LOG("pthread_mutex_init()");
  } else if (pthread_cond_init(&condition_, &condition_attributes) != 0) {
    (void)pthread_mutex_destroy(&mutex_);
    WP_LOG("pthread_cond_init()");
  } else {
    result = 0;
  }
  (void)pthread_condattr_destroy(&condition_attributes);
  (void)pthread_mutexattr_destroy(&mutex_attributes);
  return result;
}

int Worker::Destroy() noexcept {
  const int error = pthread_mutex_destroy(&mutex_);
  return error != 0 ? error : pthread_cond_destroy(&condition_);
}

int Worker::Change(int by) noexcept {
  (void)Lock();  // fails for a record only that was never prepared
  run_count_ += by;
  (void)pthread_cond_signal(&condition_);
  (void)Unlock();
  return 0;
}

int Worker::Start() noexcept {
  return Change(1);
}

int Worker::Stop() noexcept {
  return Change(-1);
}

int Worker::Wait(int seconds) {
  if (seconds == 0) return pthread_cond_wait(&condition_, &mutex_);
  timespec deadline{};
  (void)clock_gettime(CLOCK_REALTIME, &deadline);  // cannot fail with these arguments
  deadline.tv_sec += seconds;
  return pthread_cond_timedwait(&condition_, &mutex_, &deadline);
}

int Worker::Lock() noexcept {
  return pthread_mutex_lock(&mutex_);
}

int Worker::Unlock() noexcept {
  return pthread_mutex_unlock(&mutex_);
}
