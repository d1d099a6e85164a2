#include "recorder.h"

#include <string.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

namespace wpd {
namespace {

constexpr std::chrono::seconds kShortestSuspension{1};
constexpr std::chrono::seconds kLongestSuspension{30};
constexpr std::chrono::seconds kSteady{10};
// The index of a file grows in memory with each frame, however small.
constexpr int kMostFrames = 400000;

std::string Title(const Camera& camera) {
  return "camera " + std::to_string(camera.GetId()) + " (" + camera.GetName() + ")";
}

// Free space for this process's user where the camera's recordings go; unknown counts as plenty,
// writing will tell.
std::uint64_t FreeBytes(const std::string& folder) {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return UINT64_MAX;
  return static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
}

}  // namespace

Recorder::Recorder(const Settings& settings, const Camera& camera, RowSink sink)
    : settings_(settings),
      sink_(std::move(sink)),
      camera_(camera),
      disk_trouble_(Title(camera) + ": recording again", kSteady) {}

void Recorder::SetCamera(const Camera& camera) {
  const std::lock_guard lock(mutex_);
  const bool moved = camera.GetStoragePath() != camera_.GetStoragePath() ||
                     camera.GetFilenamePrefix() != camera_.GetFilenamePrefix() ||
                     camera.IsMotionLog() != camera_.IsMotionLog();
  camera_ = camera;
  if (moved) End();
}

void Recorder::OnFrame(const Frame& frame) {
  const std::lock_guard lock(mutex_);
  const RecordingType mode = camera_.GetCurrentSchedule();
  if (recording_ != nullptr && NeedsNewFile(frame, mode)) End();
  if (closed_ || mode == RECORDING_NONE || !MayRecordAgain(frame.steady)) return;
  if (recording_ == nullptr) Begin(frame, mode);
  if (recording_ != nullptr) Append(frame);
}

bool Recorder::NeedsNewFile(const Frame& frame, RecordingType mode) const {
  return mode != mode_ || !(frame.picture == recording_->Size()) ||
         recording_->Age(frame.steady) >= settings_.cut_after ||
         recording_->Bytes() + frame.size > settings_.cut_bytes ||
         recording_->Row().frames >= kMostFrames;
}

// After a failed write the file stays open without growing: it can be finished properly once there
// is room for its index.
bool Recorder::MayRecordAgain(Clock::time_point now) {
  if (suspension_ == std::chrono::seconds(0)) return true;
  if (now < suspended_until_) return false;
  if (FreeBytes(camera_.GetStoragePath()) < settings_.reserve_bytes) {
    suspended_until_ = now + kShortestSuspension;
    return false;
  }
  End();
  return true;
}

void Recorder::Begin(const Frame& frame, RecordingType mode) {
  std::string error;
  // Until motion is looked at, hours of motion are recorded whole.
  recording_ = Recording::Start(camera_, EVENT_CAUSE_CONTINUOUS, frame, error);
  if (recording_ == nullptr) return Suspend(frame.steady, error);
  mode_ = mode;
  next_row_ = frame.steady;
}

void Recorder::Append(const Frame& frame) {
  const int status = recording_->Write(frame, 0);
  if (status == MJE_ERR_FULL) return End();  // the next frame begins a new file
  if (status != MJE_OK)
    return Suspend(frame.steady, std::string("cannot write: ") + strerror(errno));
  disk_trouble_.End();
  suspension_ = std::chrono::seconds(0);
  if (frame.steady >= next_row_) Publish(frame.steady);
}

void Recorder::Suspend(Clock::time_point now, const std::string& reason) {
  disk_trouble_.Begin(Title(camera_) + ": not recording: " + reason);
  suspension_ = std::clamp(2 * suspension_, kShortestSuspension, kLongestSuspension);
  suspended_until_ = now + suspension_;
}

void Recorder::Publish(Clock::time_point now) {
  sink_(recording_->Row());
  next_row_ = now + settings_.row_interval;
}

void Recorder::End() {
  if (recording_ == nullptr) return;
  if (recording_->Row().frames == 0) {
    recording_->Discard();
    recording_.reset();
    return;
  }
  if (!recording_->Finish()) {
    disk_trouble_.Begin(Title(camera_) + ": " + recording_->Row().path +
                        " could not be completed: " + strerror(errno));
  }
  sink_(recording_->Row());
  recording_.reset();
}

void Recorder::OnConnectionLost() {
  const std::lock_guard lock(mutex_);
  End();
}

void Recorder::OnTick() {
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (!lock.owns_lock() || recording_ == nullptr) return;
  if (!recording_->IsInPlace()) {
    disk_trouble_.Begin(Title(camera_) + ": " + recording_->Row().path +
                        " has gone from its folder; beginning another");
    End();
  } else if (camera_.GetCurrentSchedule() != mode_) {
    End();
  }
}

bool Recorder::Close(std::chrono::milliseconds limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  std::unique_lock lock(mutex_, std::try_to_lock);
  while (!lock.owns_lock() && Clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    (void)lock.try_lock();  // the loop asks
  }
  if (!lock.owns_lock()) return false;
  closed_ = true;
  End();
  return true;
}

}  // namespace wpd
