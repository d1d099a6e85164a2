// A start and stop signal between processes: a mutex, a condition and a count. Process-shared.
#pragma once

#include <pthread.h>

#include <cstdint>

#include "base/export.h"

/// A plain record that lies in memory which all its users map. Who waits holds the lock, and asks
/// Started() again after each wake-up: starts and stops that come together cancel out, and waking
/// without a cause is normal.
class WATCHPOST_API Worker {
 public:
  /// Prepares the record. Returns 0; -1 with a line in the system log.
  int Init() noexcept;

  /// Nobody may use the record any more. Returns 0, or the error number of what failed.
  int Destroy() noexcept;

  /// Count up and down, and wake one waiter. Return 0.
  int Start() noexcept;
  int Stop() noexcept;

  /// Waits for a change, with the lock held: `seconds` long on the wall clock, for ever with 0.
  /// Returns 0 or the error number, ETIMEDOUT when the time is over.
  int Wait(int seconds);

  /// Return 0 or the error number.
  int Lock() noexcept;
  int Unlock() noexcept;

  /// Ask these with the lock held.
  [[nodiscard]] int Started() const noexcept { return run_count_ > 0 ? 1 : 0; }
  [[nodiscard]] int Stopped() const noexcept { return Started() != 0 ? 0 : 1; }

 private:
  int Change(int by) noexcept;

  pthread_mutex_t mutex_;
  pthread_cond_t condition_;
  std::int32_t run_count_;
};
