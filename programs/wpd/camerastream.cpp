#include "camerastream.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <watchpost/media/jpegcheck.h>
#include <watchpost/net/interrupt.h>
#include <watchpost/net/multipartfetch.h>

#include <algorithm>
#include <cstring>

namespace wpd {
namespace {

constexpr std::chrono::milliseconds kShortestPause{1000};
constexpr std::chrono::milliseconds kLongestPause{30000};
// A camera counts as back when it has delivered for so long: one that comes and goes is one spell
// of trouble.
constexpr std::chrono::seconds kSteady{10};
constexpr std::size_t kFirstBuffer = 128 << 10;
constexpr char kType[] = "image/jpeg";
// A camera that breaks off at once is not asked again and again.
constexpr std::chrono::milliseconds kLeastPause{200};
constexpr std::chrono::seconds kBetweenInspections{1};
// Frames that come often and that nobody watches are taken several at a time: each wake of the
// thread costs more than copying a frame.
constexpr int kOften = 10;  // a second
constexpr int kBatchBytes = 256 << 10;
constexpr int kBatchLongest = 200;  // ms

// Beside the MF_STATUS values.
constexpr int kNoFrames = -1;
constexpr int kTooLong = -2;
constexpr int kChunked = -3;
constexpr int kWrongType = -4;

// Without the query, which may hold a password.
std::string Address(const Camera& camera) {
  const std::string path = camera.GetPath();
  return "http://" + camera.GetHost() + ":" + std::to_string(camera.GetPort()) + "/" +
         path.substr(0, path.find('?'));
}

bool IsRefusal(int status) {
  return status == kChunked || status == kWrongType || status == MF_ERR_UNAUTHORIZED ||
         status == MF_ERR_BAD_RESPONSE || status == MF_ERR_NOT_MULTIPART;
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
    case kNoFrames:
      return "sends no pictures";
    case kChunked:
      return "sends its stream in chunks (Transfer-Encoding), which this client does not take";
    case kWrongType:
      return "sends parts of another type than image/jpeg, which this client does not take";
    case kTooLong:
      return "sends pictures above largest_frame_kibibytes";
    default:
      return "answers with something that is no stream";
  }
}

}  // namespace

bool SameSource(const Camera& a, const Camera& b) {
  return a.GetHost() == b.GetHost() && a.GetPort() == b.GetPort() && a.GetPath() == b.GetPath() &&
         a.GetUsername() == b.GetUsername() && a.GetPassword() == b.GetPassword();
}

CameraStream::CameraStream(const watchpost::DaemonSettings& settings,
                           SharedRecord& record,
                           LiveRing& ring,
                           Recorder& recorder,
                           Mailer& mailer)
    : settings_(settings),
      ring_(ring),
      recorder_(recorder),
      mailer_(mailer),
      buffer_(kFirstBuffer),
      record_(record),
      lost_(Title(record.Get()->camera) + ": delivers again", kSteady),
      lost_mail_(settings.mail_steady),
      no_frames_(Title(record.Get()->camera) + ": sends pictures again", kSteady),
      damaged_(Title(record.Get()->camera) + ": sends whole frames again", kSteady),
      damaged_mail_(settings.mail_steady) {}

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
  thread_.Start();
  return true;
}

void CameraStream::Reconnect() {
  changed_ = true;
  (void)eventfd_write(wake_.Get(), 1);  // fails only when it is readable anyhow
}

// The thread may be in the middle of a wait when it is asked to end, which this cuts short.
bool CameraStream::Stop(std::chrono::milliseconds limit) {
  stopped_ = true;
  (void)eventfd_write(wake_.Get(), 1);  // fails only when it is readable anyhow
  return thread_.Stop(limit);
}

// Follows the stream until the daemon stops.
std::optional<WorkerThread::Clock::duration> CameraStream::DoWork() {
  const watchpost::ScopedInterrupt interrupt(interrupt_.Get());
  while (!stopped_) {
    eventfd_t count = 0;
    (void)eventfd_read(wake_.Get(), &count);  // nothing to read is fine
    changed_ = false;
    camera_ = record_.Get()->camera;
    delivering_ = false;
    const Outcome outcome = FollowStream();
    ring_.SetStatus(outcome == Outcome::kLost ? CAM_CONN_LOST : CAM_CONN_WAITING);
    recorder_.OnConnectionLost();
    if (outcome == Outcome::kChanged) was_connected_ = false;  // the new address is logged
    if (outcome == Outcome::kLost) Sleep(pause_);
  }
  return std::nullopt;
}

CameraStream::Outcome CameraStream::FollowStream() {
  MultipartFetch fetch(camera_.GetHost().c_str(),
                       camera_.GetPort(),
                       camera_.GetPath().c_str(),
                       camera_.GetUsername().c_str(),
                       camera_.GetPassword().c_str());
  deadline_set_ = {};
  often_ = batched_ = false;
  counted_ = 0;
  Clock::time_point last_frame = Clock::now();
  PutDeadlineOff(last_frame);
  bool nothing_usable = false;
  for (;;) {
    std::uint32_t size = 0;
    const int status = FetchFrame(fetch, size);
    if (stopped_) return Outcome::kStopped;
    if (changed_) return Outcome::kChanged;
    if (status != MF_OK) {
      OnLost(nothing_usable && status > MF_OK ? kNoFrames : status);
      return Outcome::kLost;
    }
    const Clock::time_point now = Clock::now();
    nothing_usable = !Deliver(size, now);
    if (!nothing_usable) {
      last_frame = now;
      PutDeadlineOff(now);
      OnDelivering();
      Pace(fetch, size, now);
    } else if (now - last_frame > settings_.frame_timeout) {
      // One that sends without a pause is never waited for, so that the timer alone would not end
      // it.
      OnLost(kNoFrames);
      return Outcome::kLost;
    }
  }
}

// Hands the part in the buffer to whoever wants frames. False when it is no picture.
bool CameraStream::Deliver(std::uint32_t size, Clock::time_point now) {
  const std::optional<watchpost::PictureSize> picture =
      watchpost::ReadJpegSize(buffer_.data(), size);
  if (!picture) {
    no_frames_.Begin(Title(camera_) +
                     ": sends something that is no JPEG picture; it is not recorded");
    return false;
  }
  no_frames_.End();
  const Frame frame{buffer_.data(), size, *picture, std::chrono::system_clock::now(), now};
  recorder_.OnFrame(frame);
  watched_ = ring_.Publish(frame);
  Inspect(frame);
  return true;
}

// Decides whether the next frames are taken in batches. What is there is written when a batch ends.
void CameraStream::Pace(MultipartFetch& fetch, std::uint32_t size, Clock::time_point now) {
  constexpr std::chrono::seconds kCounted{1};
  if (counted_ == 0 || now - counted_since_ >= kCounted) {
    often_ = counted_ >= kOften;
    counted_ = 0;
    counted_since_ = now;
  }
  ++counted_;
  const bool batched = often_ && !watched_;
  if (batched != batched_) fetch.SetBatch(batched ? kBatchBytes : 0, kBatchLongest);
  batched_ = batched;
  if (batched_ && fetch.WillWait(static_cast<int>(size / 2))) recorder_.OnPause();
}

// A frame that does not end as a JPEG is recorded, as some cameras leave the end out; about once a
// second one is read to its end, to see whether more is missing.
void CameraStream::Inspect(const Frame& frame) {
  if (watchpost::HasJpegEnd(frame.data, frame.size)) {
    damaged_.End();
    (void)damaged_mail_.End();  // there is no mail for it
    return;
  }
  if (frame.steady < next_inspection_) return;
  next_inspection_ = frame.steady + kBetweenInspections;
  if (watchpost::IsWholeJpeg(frame.data, frame.size)) return;
  damaged_.Begin(Title(camera_) +
                 ": sends damaged frames, which end before their picture does; they are recorded");
  if (damaged_mail_.Begin()) mailer_.Post(WP_MAIL_RECORDING_FAILED, camera_);
}

// Fetches the next part into the buffer: an MF_STATUS, or kTooLong.
int CameraStream::FetchFrame(MultipartFetch& fetch, std::uint32_t& size) {
  char type[64];
  const MF_STATUS status = fetch.NextPartInfo(size, type, sizeof type);
  if (fetch.IsChunked()) return kChunked;
  if (status != MF_OK) return status;
  if (std::strncmp(type, kType, sizeof kType - 1) != 0) return kWrongType;
  if (size > settings_.largest_frame) return kTooLong;
  if (buffer_.size() < size) buffer_.resize(size);
  return fetch.FetchContent(buffer_.data(), static_cast<unsigned int>(buffer_.size()));
}

void CameraStream::OnDelivering() {
  const Clock::time_point now = Clock::now();
  if (!delivering_) {
    delivering_ = true;
    ring_.SetStatus(CAM_CONN_CONNECTED);
    delivering_since_ = now;
    if (!was_connected_)
      Log("%s: delivers from %s", Title(camera_).c_str(), Address(camera_).c_str());
    was_connected_ = true;
  }
  lost_.End();
  if (lost_mail_.End()) mailer_.Post(WP_MAIL_CONNECTION_RESUMED, camera_);
  if (now - delivering_since_ < kSteady) return;
  logged_refusal_ = MF_OK;
}

// One line a spell; a refusal, which somebody has to do something about, is logged also when the
// spell began otherwise.
void CameraStream::OnLost(int status) {
  const std::string what = Title(camera_) + ": " + Address(camera_) + " " + ReasonOf(status);
  const bool begins = lost_.Begin(what + "; trying again until it delivers");
  if (!begins && IsRefusal(status) && status != logged_refusal_) Log("%s", what.c_str());
  if (IsRefusal(status)) logged_refusal_ = status;
  if (lost_mail_.Begin()) mailer_.Post(WP_MAIL_CONNECTION_LOST, camera_);
  was_connected_ = true;  // the end of the spell logs when it is there
  // After a connection that delivered, the next try comes at once.
  pause_ = delivering_ ? kLeastPause : std::clamp(2 * pause_, kShortestPause, kLongestPause);
}

// Puts the deadline off, about once a second: with every frame it would be work for nothing.
void CameraStream::PutDeadlineOff(Clock::time_point now) {
  constexpr std::chrono::seconds kGrain{1};
  if (now < deadline_set_ + kGrain) return;
  deadline_set_ = now;
  itimerspec timer{};
  timer.it_value.tv_sec = static_cast<time_t>((settings_.frame_timeout + kGrain).count());
  (void)timerfd_settime(deadline_.Get(), 0, &timer, nullptr);  // cannot fail with these arguments
}

// Ends early when the daemon stops or the camera's settings change.
void CameraStream::Sleep(std::chrono::milliseconds time) {
  pollfd wake{wake_.Get(), POLLIN, 0};
  (void)poll(&wake, 1, static_cast<int>(time.count()));
}

}  // namespace wpd
