#include "camerastream.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <watchpost/net/interrupt.h>
#include <watchpost/net/multipartfetch.h>

#include <algorithm>

namespace wpd {
namespace {

constexpr std::chrono::milliseconds kShortestPause{1000};
constexpr std::chrono::milliseconds kLongestPause{30000};
// A camera counts as back when it has delivered for so long: one that comes and goes is one spell
// of trouble.
constexpr std::chrono::seconds kSteady{10};
constexpr std::size_t kFirstBuffer = 128 << 10;

// Beside the MF_STATUS values.
constexpr int kRubbish = -1;
constexpr int kTooLong = -2;

std::string Title(const Camera& camera) {
  return "camera " + std::to_string(camera.GetId()) + " (" + camera.GetName() + ")";
}

// Without the query, which may hold a password.
std::string Address(const Camera& camera) {
  const std::string path = camera.GetPath();
  return "http://" + camera.GetHost() + ":" + std::to_string(camera.GetPort()) + "/" +
         path.substr(0, path.find('?'));
}

bool SameSource(const Camera& a, const Camera& b) {
  return a.GetHost() == b.GetHost() && a.GetPort() == b.GetPort() && a.GetPath() == b.GetPath() &&
         a.GetUsername() == b.GetUsername() && a.GetPassword() == b.GetPassword();
}

bool IsRefusal(int status) {
  return status == MF_ERR_UNAUTHORIZED || status == MF_ERR_BAD_RESPONSE ||
         status == MF_ERR_NOT_MULTIPART;
}

const char* ReasonOf(int status) {
  switch (status) {
    case MF_ERR_CONNECT:
      return "cannot be reached, or stopped sending";
    case MF_ERR_BAD_RESPONSE:
      return "refuses the stream; is its path right?";
    case MF_ERR_UNAUTHORIZED:
      return "refuses user name and password";
    case MF_ERR_NOT_MULTIPART:
      return "sends no stream of multipart/x-mixed-replace; is its path right?";
    case MF_ERR_PART_TYPE:
    case MF_ERR_PART_LENGTH:
    case MF_ERR_BOUNDARY:
      return "broke off its stream, or writes it in a way this client does not take (pictures "
             "above 256 KiB without length are one)";
    case MF_ERR_NOT_INIT:
      return "has no valid address";
    case kRubbish:
      return "sends no pictures";
    case kTooLong:
      return "sends pictures above largest_frame_kibibytes";
    default:
      return "answers with something that is no stream";
  }
}

}  // namespace

CameraStream::CameraStream(const Settings& settings,
                           const Camera& camera,
                           LiveRing& ring,
                           Recorder& recorder,
                           Mailer& mailer)
    : settings_(settings),
      ring_(ring),
      recorder_(recorder),
      mailer_(mailer),
      buffer_(kFirstBuffer),
      camera_(camera),
      lost_(Title(camera) + ": delivers again", kSteady),
      lost_mail_(settings.mail_steady),
      no_pictures_(Title(camera) + ": sends pictures again", kSteady) {}

bool CameraStream::Start() {
  wake_.Reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  deadline_.Reset(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  interrupt_.Reset(epoll_create1(EPOLL_CLOEXEC));
  if (!wake_.IsValid() || !deadline_.IsValid() || !interrupt_.IsValid()) return false;
  epoll_event readable{};
  readable.events = EPOLLIN;
  if (epoll_ctl(interrupt_.Get(), EPOLL_CTL_ADD, wake_.Get(), &readable) != 0 ||
      epoll_ctl(interrupt_.Get(), EPOLL_CTL_ADD, deadline_.Get(), &readable) != 0) {
    return false;
  }
  thread_.Start([this] { Run(); });
  return true;
}

void CameraStream::SetCamera(const Camera& camera) {
  const std::lock_guard lock(mutex_);
  changed_ = changed_ || !SameSource(camera, camera_);
  camera_ = camera;
  if (changed_) (void)eventfd_write(wake_.Get(), 1);  // fails only when it is readable anyhow
}

bool CameraStream::Stop(std::chrono::milliseconds limit) {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  (void)eventfd_write(wake_.Get(), 1);  // fails only when it is readable anyhow
  return thread_.Join(limit);
}

// Copies the settings for the next connection; false when the daemon stops.
bool CameraStream::TakeChange(Camera& camera) {
  const std::lock_guard lock(mutex_);
  if (stopped_) return false;
  eventfd_t count = 0;
  (void)eventfd_read(wake_.Get(), &count);  // nothing to read is fine
  changed_ = false;
  camera = camera_;
  return true;
}

void CameraStream::Run() {
  const watchpost::ScopedInterrupt interrupt(interrupt_.Get());
  Camera camera;
  while (TakeChange(camera)) {
    delivering_ = false;
    const Outcome outcome = FollowStream(camera);
    ring_.SetStatus(outcome == Outcome::kLost ? CAM_CONN_LOST : CAM_CONN_WAITING);
    recorder_.OnConnectionLost();
    if (outcome == Outcome::kChanged) was_connected_ = false;  // the new address is told
    if (outcome == Outcome::kLost) Sleep(pause_);
  }
}

CameraStream::Outcome CameraStream::FollowStream(const Camera& camera) {
  MultipartFetch fetch(camera.GetHost().c_str(),
                       camera.GetPort(),
                       camera.GetPath().c_str(),
                       camera.GetUsername().c_str(),
                       camera.GetPassword().c_str());
  deadline_set_ = {};
  Clock::time_point last_picture = Clock::now();
  PutDeadlineOff(last_picture);
  bool only_rubbish = false;
  for (;;) {
    std::uint32_t size = 0;
    const int status = FetchFrame(fetch, size);
    {
      const std::lock_guard lock(mutex_);
      if (stopped_) return Outcome::kStopped;
      if (changed_) return Outcome::kChanged;
    }
    if (status != MF_OK) {
      OnLost(camera, only_rubbish && status > MF_OK ? kRubbish : status);
      return Outcome::kLost;
    }
    const Clock::time_point now = Clock::now();
    only_rubbish = !Deliver(camera, size, now);
    if (!only_rubbish) {
      last_picture = now;
      PutDeadlineOff(now);
      OnDelivering(camera);
    } else if (now - last_picture > settings_.frame_timeout) {
      // One that sends without a pause is never waited for, so that the timer alone would not end
      // it.
      OnLost(camera, kRubbish);
      return Outcome::kLost;
    }
  }
}

// Hands the part in the buffer to whoever wants frames. False when it is no picture.
bool CameraStream::Deliver(const Camera& camera, std::uint32_t size, Clock::time_point now) {
  const std::optional<watchpost::PictureSize> picture =
      watchpost::ReadJpegSize(buffer_.data(), size);
  if (!picture) {
    no_pictures_.Begin(Title(camera) +
                       ": sends something that is no JPEG picture; it is not recorded");
    return false;
  }
  no_pictures_.End();
  const Frame frame{buffer_.data(), size, *picture, std::chrono::system_clock::now(), now};
  ring_.Publish(frame);
  recorder_.OnFrame(frame);
  return true;
}

// Fetches the next part into the buffer: an MF_STATUS, or kTooLong.
int CameraStream::FetchFrame(MultipartFetch& fetch, std::uint32_t& size) {
  char type[64];
  const MF_STATUS status = fetch.NextPartInfo(size, type, sizeof type);
  if (status != MF_OK) return status;
  if (size > settings_.largest_frame) return kTooLong;
  if (buffer_.size() < size) buffer_.resize(size);
  return fetch.FetchContent(buffer_.data(), static_cast<unsigned int>(buffer_.size()));
}

void CameraStream::OnDelivering(const Camera& camera) {
  const Clock::time_point now = Clock::now();
  if (!delivering_) {
    delivering_ = true;
    ring_.SetStatus(CAM_CONN_CONNECTED);
    delivering_since_ = now;
    if (!was_connected_)
      Log("%s: delivers from %s", Title(camera).c_str(), Address(camera).c_str());
    was_connected_ = true;
  }
  lost_.End();
  if (lost_mail_.End()) mailer_.Post(WP_MAIL_CONNECTION_RESUMED, camera);
  if (now - delivering_since_ < kSteady) return;
  told_refusal_ = MF_OK;
  pause_ = {};
}

// One line a spell; a refusal, which somebody has to do something about, is told also when the
// spell began otherwise.
void CameraStream::OnLost(const Camera& camera, int status) {
  const std::string what = Title(camera) + ": " + Address(camera) + " " + ReasonOf(status);
  const bool begins = lost_.Begin(what + "; trying again until it delivers");
  if (!begins && IsRefusal(status) && status != told_refusal_) Log("%s", what.c_str());
  if (IsRefusal(status)) told_refusal_ = status;
  if (lost_mail_.Begin()) mailer_.Post(WP_MAIL_CONNECTION_LOST, camera);
  was_connected_ = true;  // the end of the spell tells when it is there
  pause_ = std::clamp(2 * pause_, kShortestPause, kLongestPause);
}

// Puts the deadline off, about once a second: with every frame it would be work for nothing.
void CameraStream::PutDeadlineOff(Clock::time_point now) {
  constexpr std::chrono::seconds kGrain{1};
  if (now < deadline_set_ + kGrain) return;
  deadline_set_ = now;
  itimerspec timer{};
  timer.it_value.tv_sec = (settings_.frame_timeout + kGrain).count();
  (void)timerfd_settime(deadline_.Get(), 0, &timer, nullptr);  // cannot fail with these arguments
}

// Ends early when the daemon stops or the camera's settings change.
void CameraStream::Sleep(std::chrono::milliseconds time) {
  pollfd wake{wake_.Get(), POLLIN, 0};
  (void)poll(&wake, 1, static_cast<int>(time.count()));
}

}  // namespace wpd
