// Paces a loop to a fixed period without drift. One thread uses an object.
#pragma once

#include <sys/time.h>

#include <cstdint>

#include "base/export.h"

class WATCHPOST_API DelayTimer {
 public:
  /// A timer of a period of `interval_us` microseconds that has not started yet.
  explicit DelayTimer(int interval_us) noexcept;

  /// Begins a period now. Returns what gettimeofday returned: 0.
  int BeginTiming() noexcept;

  /// Sleeps until the present period is over and begins the next one at its end; returns what
  /// usleep returned: 0, or -1 when a signal came. When the period is already over, or the clock
  /// went backwards, does not sleep: a new period begins now, and the microseconds since the last
  /// began are returned.
  int Delay() noexcept;

 private:
  std::int32_t interval_us_;
  timeval start_{};  // where the present period began; zero seconds: not started
};
