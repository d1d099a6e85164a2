// How readers of a ring get hold of a frame that the writer may be evicting at that moment. Used by
// the ring itself.
#pragma once

#include "ipc/ringstate.h"

namespace watchpost {

/// As long as one in state kHeld lives, the writer evicts nothing: it holds the counters of the
/// oldest unit's lock, without which that unit cannot be evicted, and no younger one before it.
///
/// Which semaphores those are comes from the ring's header, never from a unit that might have been
/// overwritten. After they are taken the header is looked at again: while it still names the group
/// as the oldest, the unit is in place, as eviction moves the header on while it holds these
/// counters.
class FrameLocker {
 public:
  enum State { kHeld, kEmpty, kFailed };

  explicit FrameLocker(RingState& ring) noexcept;
  ~FrameLocker() { Release(); }
  FrameLocker(const FrameLocker&) = delete;
  FrameLocker& operator=(const FrameLocker&) = delete;

  [[nodiscard]] State Outcome() const { return state_; }
  [[nodiscard]] DataUnit* Oldest() const { return oldest_; }

  /// Locks a stored unit for reading and ends the hold on eviction; waits while the unit is
  /// written. False when the semaphores are gone.
  bool Lock(DataUnit& unit) noexcept;

  /// Writer: waits until nobody is at the counters of a group that nobody has any business with any
  /// more, and keeps others out until the group's next Init. Returns 0, EAGAIN when somebody stays
  /// there, or another errno when the set is gone.
  static int Claim(int set_id, int group) noexcept;

 private:
  bool Take() noexcept;
  void Release() noexcept;

  RingState& ring_;
  int group_ = 0;  // whose counters are held
  DataUnit* oldest_ = nullptr;
  State state_ = kEmpty;
};

}  // namespace watchpost
