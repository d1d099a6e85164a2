#include "timelimit.h"

#include <poll.h>
#include <sys/timerfd.h>

namespace wpctl {
namespace {

// Invalid when the system has no descriptor left: then nothing can be connected, either.
int MakeTimer(int seconds) {
  watchpost::UniqueFd timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
  itimerspec when{};
  when.it_value.tv_sec = seconds;
  (void)timerfd_settime(timer.Get(), 0, &when, nullptr);  // cannot fail with these arguments
  return timer.Release();
}

}  // namespace

TimeLimit::TimeLimit(int seconds) : timer_(MakeTimer(seconds)), interrupt_(timer_.Get()) {}

bool TimeLimit::IsOver() const {
  pollfd timer{timer_.Get(), POLLIN, 0};
  return poll(&timer, 1, 0) > 0;
}

}  // namespace wpctl
