// Removes what exceeds the camera's limits on every full hour, from a thread of its own.
// Thread-safe.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/event/rotateclient.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "boundedthread.h"

namespace wpd {

/// Whether a limit of the camera is switched on.
bool IsRotated(const Camera& camera);

class Rotation {
 public:
  explicit Rotation(const Camera& camera) : camera_(camera) {}
  Rotation(const Rotation&) = delete;
  Rotation& operator=(const Rotation&) = delete;

  /// The thread must have ended; see Stop.
  ~Rotation() = default;

  void Start();

  /// Takes over changed limits.
  void SetCamera(const Camera& camera);

  /// To be called about once a second: a change that came just as the loop began is asked for
  /// again.
  void OnTick();

  /// Ends the thread. False when the batch at hand takes longer than `limit`: the process must then
  /// leave without running destructors.
  bool Stop(std::chrono::milliseconds limit);

 private:
  void Run();

  RotateClient client_;
  std::mutex mutex_;  // guards all below
  std::condition_variable wake_;
  Camera camera_;
  bool changed_ = false;
  bool stop_ = false;
  BoundedThread thread_;
};

}  // namespace wpd
