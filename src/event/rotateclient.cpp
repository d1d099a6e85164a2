#include "event/rotateclient.h"

#include <time.h>

#include <cerrno>

#include "base/diagnostics_internal.h"

namespace {

constexpr char kLogSource[] = "wprotate";
constexpr time_t kHour = 3600;

int HourOf(time_t now) {
  return static_cast<int>(now / kHour);
}

// By the clock that waits go by: time() may still show the second before.
time_t Now() {
  timespec now{};
  (void)clock_gettime(CLOCK_REALTIME, &now);  // cannot fail with these arguments
  return now.tv_sec;
}

}  // namespace

RotateClient::RotateClient() noexcept {
  (void)pthread_mutex_init(&mutex_, nullptr);  // neither fails without options
  (void)pthread_cond_init(&wake_, nullptr);
}

RotateClient::~RotateClient() {
  (void)Terminate();
  (void)pthread_mutex_trylock(&mutex_);  // locked from here on, by whomever
  (void)pthread_mutex_unlock(&mutex_);
  (void)pthread_mutex_destroy(&mutex_);
  (void)pthread_cond_destroy(&wake_);
}

int RotateClient::DoRotate(Camera* camera, int sizeLimitMB, int daysLimit) {
  if (camera == nullptr || sizeLimitMB < 0 || daysLimit < 0) return WP_ROTATE_ERR_NOTHING;
  if (!Enter()) return WP_ROTATE_ERR_RUNNING;
  WPRotate rotate(camera);
  (void)pthread_mutex_lock(&mutex_);
  while (running_) {
    const int waited = WaitForHour();
    if (waited != 0 && waited != ETIMEDOUT) running_ = false;
    (void)pthread_mutex_unlock(&mutex_);
    if (waited != 0 && waited != ETIMEDOUT) return WP_ROTATE_ERR_THREAD;
    // A run that is still going is not started again.
    if (waited == ETIMEDOUT && IsCorrectMoment(slot_)) (void)rotate.Start(sizeLimitMB, daysLimit);
    (void)pthread_mutex_lock(&mutex_);
  }
  (void)pthread_mutex_unlock(&mutex_);
  return WP_ROTATE_OK;  // what is going is stopped with `rotate`
}

int RotateClient::Terminate() noexcept {
  (void)pthread_mutex_lock(&mutex_);
  running_ = false;
  (void)pthread_mutex_unlock(&mutex_);
  (void)pthread_cond_signal(&wake_);
  return 0;
}

bool RotateClient::Enter() noexcept {
  (void)pthread_mutex_lock(&mutex_);
  const bool entered = !running_;
  running_ = true;
  (void)pthread_mutex_unlock(&mutex_);
  return entered;
}

// With the mutex held, as pthread_cond_timedwait: ETIMEDOUT when the hour has come.
int RotateClient::WaitForHour() {
  const time_t now = Now();
  if (HourOf(now) == slot_) return ETIMEDOUT;
  const timespec deadline{now + kHour - now % kHour, 0};
  slot_ = HourOf(now) + 1;
  return pthread_cond_timedwait(&wake_, &mutex_, &deadline);
}

bool RotateClient::IsCorrectMoment(int& slot) noexcept {
  const int hour = HourOf(Now());
  if (slot != hour) {
    WP_LOG("Wake up early!");
    return false;
  }
  slot = hour + 1;
  return true;
}
