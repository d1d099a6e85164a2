#include "base/delaytimer.h"

#include <unistd.h>

#include "base/utils.h"

DelayTimer::DelayTimer(int interval_us) noexcept : interval_us_(interval_us) {}

int DelayTimer::BeginTiming() noexcept {
  return gettimeofday(&start_, nullptr);
}

int DelayTimer::Delay() noexcept {
  if (start_.tv_sec == 0) (void)BeginTiming();  // cannot fail with a valid address
  timeval now{};
  (void)gettimeofday(&now, nullptr);
  const int elapsed = TimevalDiff(start_, now);
  if (elapsed < 0 || elapsed >= interval_us_) {
    start_ = now;
    return elapsed;
  }
  start_.tv_usec += interval_us_;
  while (start_.tv_usec > 999999) {
    start_.tv_sec += 1;
    start_.tv_usec -= 1000000;
  }
  return usleep(static_cast<useconds_t>(interval_us_ - elapsed));
}
