// Keeps some of the disk free: looks when a file has ended, when a write has failed and every few
// seconds, and lets go of the camera's oldest recordings when there is too little. Thread-safe.
#pragma once

#include <watchpost/camera/camera.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "boundedthread.h"
#include "log.h"
#include "mailer.h"
#include "settings.h"

namespace wpd {

/// Free space for this process's user where `folder` lies; unknown counts as plenty, writing will
/// tell.
std::uint64_t FreeBytes(const std::string& folder);

class SpaceKeeper {
 public:
  /// A camera without limits keeps all of its recordings, and its owner is told by `mailer`.
  SpaceKeeper(const Settings& settings, const Camera& camera, Mailer& mailer);
  SpaceKeeper(const SpaceKeeper&) = delete;
  SpaceKeeper& operator=(const SpaceKeeper&) = delete;

  /// The thread must have ended; see Stop.
  ~SpaceKeeper() = default;

  void Start();
  void SetCamera(const Camera& camera);

  /// Looks soon. Does not block.
  void Look();

  /// Ends the thread. False when it takes longer than `limit`: the process must then leave without
  /// running destructors.
  bool Stop(std::chrono::milliseconds limit);

 private:
  void Run();
  void KeepFree(Camera& camera);
  void TellRemoved(Camera& camera, bool now);
  int RemoveOldest(Camera& camera, std::uint64_t floor);
  bool IsStopped();

  const std::uint64_t wanted_;  // bytes
  Mailer& mailer_;
  Spell full_;
  SpellState told_;
  int removed_ = 0;  // since the owner was told
  std::chrono::steady_clock::time_point next_tell_;
  std::mutex mutex_;  // guards all below
  std::condition_variable wake_;
  Camera camera_;
  bool look_ = false;
  bool stop_ = false;
  BoundedThread thread_;
};

}  // namespace wpd
