// Fetches frames from the camera in a thread of its own, for as long as the daemon runs.
#pragma once

#include <watchpost/base/uniquefd.h>
#include <watchpost/service/daemonsettings.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

#include "camerarecord.h"
#include "livering.h"
#include "log.h"
#include "mailer.h"
#include "recorder.h"
#include "workerthread.h"

class MultipartFetch;

namespace wpd {

/// Whether two records name the same stream and the same login.
bool SameSource(const Camera& a, const Camera& b);

class CameraStream : private WorkerThread::Delegate {
 public:
  /// Frames go to `ring` and `recorder`; `mailer` sends mails when the camera is lost and back. All
  /// outlive the object.
  CameraStream(const watchpost::DaemonSettings& settings,
               SharedRecord& record,
               LiveRing& ring,
               Recorder& recorder,
               Mailer& mailer);

  /// Starts the thread. False, with errno set, when the kernel gives no descriptors for it.
  bool Start();

  /// Connects anew, to the address that the record has now.
  void Reconnect();

  /// Cuts short what the thread is doing and ends it; a name look-up cannot be cut short. See
  /// WorkerThread::Stop.
  bool Stop(std::chrono::milliseconds limit);

 private:
  using Clock = std::chrono::steady_clock;
  enum class Outcome { kLost, kChanged, kStopped };

  std::optional<WorkerThread::Clock::duration> DoWork() override;
  Outcome FollowStream();
  int FetchFrame(MultipartFetch& fetch, std::uint32_t& size);
  bool Deliver(std::uint32_t size, Clock::time_point now);
  void Pace(MultipartFetch& fetch, std::uint32_t size, Clock::time_point now);
  void Inspect(const Frame& frame);
  void OnDelivering();
  void OnLost(int status);
  void PutDeadlineOff(Clock::time_point now);
  void Sleep(std::chrono::milliseconds time);

  const watchpost::DaemonSettings settings_;
  LiveRing& ring_;
  Recorder& recorder_;
  Mailer& mailer_;
  std::vector<unsigned char> buffer_;  // of the frame at hand
  SharedRecord& record_;
  watchpost::UniqueFd wake_;       // eventfd: readable after Stop and Reconnect
  watchpost::UniqueFd deadline_;   // timerfd: readable when the camera gave no frame for too long
  watchpost::UniqueFd interrupt_;  // epoll of both
  std::atomic<bool> stopped_{false};
  std::atomic<bool> changed_{false};
  // Of the thread alone:
  Camera camera_;  // whose stream is followed
  Clock::time_point deadline_set_;
  Clock::time_point delivering_since_;
  Clock::time_point counted_since_;  // frames, to know how often they come
  int counted_ = 0;
  bool often_ = false;
  bool watched_ = false;
  bool batched_ = false;
  bool delivering_ = false;
  bool was_connected_ = false;
  int logged_refusal_ = 0;  // MF_STATUS of the refusal that was logged last in this spell
  std::chrono::milliseconds pause_{0};
  Spell lost_;
  SpellState lost_mail_;
  Spell no_frames_;
  Spell damaged_;
  SpellState damaged_mail_;
  Clock::time_point next_inspection_;
  WorkerThread thread_{*this};
};

}  // namespace wpd
