// The camera's live frames in shared memory, and the state of its connection. Thread-safe: the
// fetching thread publishes, the main thread removes.
#pragma once

#include <watchpost/base/mutex.h>
#include <watchpost/ipc/ringhost.h>

#include <chrono>
#include <cstdint>
#include <memory>

#include "frame.h"
#include "log.h"

namespace wpd {

class LiveRing {
 public:
  /// No ring yet. `size` is that of the segment in bytes; 0 for a camera without one.
  LiveRing(int camera_id, std::uint64_t size);

  /// Makes the ring, and clears what a killed daemon of the camera left. Without one, which a line
  /// in the log explains, everything below does nothing.
  void Create();

  /// Removes the ring for good.
  void Remove();

  void SetStatus(CAM_CONN_STATUS status);

  /// Copies a frame into the ring. One for which there is no room is left out; when that lasts, as
  /// after a reader was killed that held a frame, a fresh ring takes the place of this one. Whether
  /// anybody is there to read it.
  bool Publish(const Frame& frame);

 private:
  using Clock = std::chrono::steady_clock;

  void Replace() WATCHPOST_REQUIRES(mutex_);

  const int camera_id_;
  const int size_;
  watchpost::Mutex mutex_;
  std::unique_ptr<watchpost::RingHost> host_ WATCHPOST_GUARDED_BY(mutex_);
  CAM_CONN_STATUS status_ WATCHPOST_GUARDED_BY(mutex_) = CAM_CONN_WAITING;
  bool removed_ WATCHPOST_GUARDED_BY(mutex_) = false;
  // To make a ring after that has failed.
  Clock::time_point next_try_ WATCHPOST_GUARDED_BY(mutex_);
  Clock::time_point next_unread_ WATCHPOST_GUARDED_BY(mutex_);
  Clock::time_point full_since_ WATCHPOST_GUARDED_BY(mutex_) = Clock::time_point::max();
  Spell no_ring_;
  Spell trouble_;
  Spell too_large_;
};

}  // namespace wpd
