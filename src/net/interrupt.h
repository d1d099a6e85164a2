// Cutting short what a thread waits for on its camera connections.
#pragma once

#include "base/export.h"

namespace watchpost {

/// While an object of this class lives, every wait of a WPSocket that the constructing thread uses
/// ends as soon as `fd` is readable, and counts as failed: connecting, and reading and writing with
/// a time-out. An eventfd lets another thread end a fetch, a timerfd bounds a whole fetch,
/// an epoll descriptor does both. Resolving a host name is not interrupted. The object is made and
/// destroyed by the same thread and does not own `fd`, which stays open meanwhile.
class WATCHPOST_API ScopedInterrupt {
 public:
  explicit ScopedInterrupt(int fd) noexcept;
  ~ScopedInterrupt();
  ScopedInterrupt(const ScopedInterrupt&) = delete;
  ScopedInterrupt& operator=(const ScopedInterrupt&) = delete;

  /// Descriptor that interrupts the calling thread's waits; -1 for none.
  static int CurrentFd() noexcept;

 private:
  int previous_;
};

}  // namespace watchpost
