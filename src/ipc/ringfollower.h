// Follows a camera's live frames, whatever becomes of their recorder.
#pragma once

#include <sys/time.h>

#include <chrono>
#include <optional>

#include "base/export.h"
#include "ipc/ringbuffer.h"
#include "ipc/sharedmemory.h"

namespace watchpost {

/// A frame in the ring, to be read in place.
struct LiveFrame {
  const unsigned char* data;
  int size;
  timeval finished;  ///< when the recorder had written it, on the wall clock
};

/// The ring wakes nobody up: the follower sleeps for half of the time that frames are apart, and
/// then looks once a millisecond, which is a load of two words from memory. It holds the frame at
/// hand until it has the next one, so that none is evicted before it was seen. It attaches again,
/// by itself, when the ring was replaced.
class WATCHPOST_API RingFollower {
 public:
  explicit RingFollower(int camera_id) : camera_id_(camera_id) {}
  ~RingFollower() { Detach(); }
  RingFollower(const RingFollower&) = delete;
  RingFollower& operator=(const RingFollower&) = delete;

  /// The next frame, the latest one at first and after the ring was replaced. Valid until the next
  /// call. Nothing when none came within `limit`. Blocks longer only when a recorder was killed
  /// while it wrote a frame, until its successor begins.
  std::optional<LiveFrame> Next(std::chrono::milliseconds limit);

  /// State of the connection, CAM_CONN_NONE without a ring.
  [[nodiscard]] CAM_CONN_STATUS Status() const;

  /// How many rings have been attached so far.
  [[nodiscard]] int Attachments() const { return attachments_; }

 private:
  using Clock = std::chrono::steady_clock;

  bool Attach();
  void Detach();
  [[nodiscard]] bool IsReplaced() const;
  [[nodiscard]] DataUnit* Step();
  [[nodiscard]] Clock::duration Pause(Clock::time_point now) const;

  [[nodiscard]] RingBuffer* Ring() const { return static_cast<RingBuffer*>(attachment_.Get()); }

  const int camera_id_;
  int segment_ = -1;
  ShmAttachment attachment_;
  DataUnit* held_ = nullptr;
  int attachments_ = 0;
  Clock::time_point last_frame_;
  Clock::time_point last_look_;                             // whether the ring was replaced
  Clock::duration interval_{std::chrono::milliseconds(2)};  // between frames, as seen lately
};

}  // namespace watchpost
