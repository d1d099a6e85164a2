// Fetches frames from the camera in a thread of its own, for as long as the daemon runs.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/platform/unique_fd.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "boundedthread.h"
#include "livering.h"
#include "log.h"
#include "mailer.h"
#include "recorder.h"
#include "settings.h"

class MultipartFetch;

namespace wpd {

class CameraStream {
 public:
  /// Frames go to `ring` and `recorder`; `mailer` tells when the camera is lost and back. All
  /// outlive the object.
  CameraStream(const Settings& settings,
               const Camera& camera,
               LiveRing& ring,
               Recorder& recorder,
               Mailer& mailer);
  CameraStream(const CameraStream&) = delete;
  CameraStream& operator=(const CameraStream&) = delete;

  /// The thread must have ended; see Stop.
  ~CameraStream() = default;

  /// Starts the thread. False, with errno set, when the kernel gives no descriptors for it.
  bool Start();

  /// Takes over changed settings of the camera; a change of how it is reached reconnects.
  void SetCamera(const Camera& camera);

  /// Cuts short what the thread is doing and waits for its end. False when it has not ended within
  /// `limit` (a name look-up cannot be interrupted): the process must then leave without running
  /// destructors.
  bool Stop(std::chrono::milliseconds limit);

 private:
  using Clock = std::chrono::steady_clock;
  enum class Outcome { kLost, kChanged, kStopped };

  void Run();
  Outcome FollowStream(const Camera& camera);
  int FetchFrame(MultipartFetch& fetch, std::uint32_t& size);
  bool Deliver(const Camera& camera, std::uint32_t size, Clock::time_point now);
  void OnDelivering(const Camera& camera);
  void OnLost(const Camera& camera, int status);
  void PutDeadlineOff(Clock::time_point now);
  void Sleep(std::chrono::milliseconds time);
  bool TakeChange(Camera& camera);

  const Settings settings_;
  LiveRing& ring_;
  Recorder& recorder_;
  Mailer& mailer_;
  std::vector<unsigned char> buffer_;  // of the frame at hand
  watchpost::UniqueFd wake_;           // eventfd: readable after Stop and SetCamera
  watchpost::UniqueFd deadline_;   // timerfd: readable when the camera gave no frame for too long
  watchpost::UniqueFd interrupt_;  // epoll of both
  std::mutex mutex_;               // guards all below
  Camera camera_;
  bool changed_ = false;
  bool stopped_ = false;
  // Of the thread alone:
  Clock::time_point deadline_set_;
  Clock::time_point delivering_since_;
  bool delivering_ = false;
  bool was_connected_ = false;
  int told_refusal_ = 0;  // MF_STATUS of the refusal that was told last in this spell
  std::chrono::milliseconds pause_{0};
  Spell lost_;
  SpellState lost_mail_;
  Spell no_pictures_;
  BoundedThread thread_;
};

}  // namespace wpd
