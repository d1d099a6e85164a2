#include "recorder.h"

#include <string.h>

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

std::unique_ptr<watchpost::MotionSequence> MakeSequence(const CameraRecord& record) {
  return std::make_unique<watchpost::MotionSequence>(
      record.regions, record.camera.GetSensitivity(), watchpost::MotionSequence::kUsuallyFast);
}

}  // namespace

Recorder::Recorder(const Settings& settings,
                   const CameraRecord& record,
                   FileSync& sync,
                   SpaceKeeper& space,
                   Mailer& mailer,
                   RowSink sink)
    : settings_(settings),
      sync_(sync),
      space_(space),
      mailer_(mailer),
      sink_(std::move(sink)),
      camera_(record.camera),
      regions_(record.regions),
      motion_(MakeSequence(record)),
      history_(settings.motion_before, settings.history_bytes),
      disk_trouble_(Title(camera_) + ": recording again", kSteady),
      failed_mail_(settings.mail_steady),
      regions_trouble_(Title(camera_) + ": a region lies in its picture again"),
      history_trouble_("") {}

void Recorder::SetRecord(const CameraRecord& record) {
  const std::lock_guard lock(mutex_);
  const Camera& camera = record.camera;
  const bool moved = camera.GetStoragePath() != camera_.GetStoragePath() ||
                     camera.GetFilenamePrefix() != camera_.GetFilenamePrefix() ||
                     camera.IsMotionLog() != camera_.IsMotionLog();
  const bool looks_otherwise =
      camera.GetSensitivity() != camera_.GetSensitivity() || record.regions != regions_;
  camera_ = camera;
  regions_ = record.regions;
  if (looks_otherwise) motion_ = MakeSequence(record);
  // The log of a recording holds the sensitivity that its levels are to be judged by.
  if (moved || (looks_otherwise && camera.IsMotionLog())) End();
}

void Recorder::OnFrame(const Frame& frame) {
  const std::lock_guard lock(mutex_);
  if (closed_) return;
  ++frames_;
  const RecordingType mode = camera_.GetCurrentSchedule();
  if (recording_ != nullptr && NeedsNewFile(frame, mode)) End();
  const watchpost::MotionResult seen = LookForMotion(frame, mode);
  level_ = seen.level;
  if (mode == RECORDING_MOTION && seen.motion)
    record_until_ = frame.steady + settings_.motion_after;
  const bool wanted =
      mode == RECORDING_CONTINUOUS || (mode == RECORDING_MOTION && frame.steady <= record_until_);
  if (!wanted) {
    motion_told_ = false;
    End();
  }
  if (wanted && MayRecordAgain(frame.steady)) return Record(frame, seen.level, mode);
  if (mode != RECORDING_MOTION) return;
  if (!history_.Add(frame, seen.level)) {
    history_trouble_.Begin(Title(camera_) +
                           ": motion_history_mebibytes is too small for the seconds before motion; "
                           "recordings begin later");
  }
}

// A pause in looking must not make the first picture after it look like motion.
watchpost::MotionResult Recorder::LookForMotion(const Frame& frame, RecordingType mode) {
  if (mode == RECORDING_MOTION || (mode == RECORDING_CONTINUOUS && camera_.IsMotionLog())) {
    const watchpost::MotionResult seen = motion_->Look(frame.data, static_cast<int>(frame.size));
    if (seen.outside) {
      regions_trouble_.Begin(Title(camera_) +
                             ": none of its regions lies in its picture; nothing counts as motion");
    } else {
      regions_trouble_.End();
    }
    return seen;
  }
  motion_->Begin();
  return {};
}

void Recorder::Record(const Frame& frame, int level, RecordingType mode) {
  if (mode != RECORDING_MOTION) history_.Clear();
  bool goes_on = true;
  const auto put = [&](const Frame& at_hand, int its_level) {
    goes_on =
        goes_on && (recording_ != nullptr || Begin(at_hand, mode)) && Append(at_hand, its_level);
  };
  history_.ForEach(put);
  history_.Clear();
  put(frame, level);
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

bool Recorder::Begin(const Frame& frame, RecordingType mode) {
  std::string error;
  const EVENT_CAUSE cause = mode == RECORDING_MOTION ? EVENT_CAUSE_MOTION : EVENT_CAUSE_CONTINUOUS;
  recording_ = Recording::Start(camera_, cause, frame, error);
  if (recording_ == nullptr) {
    Suspend(Clock::now(), error);
    return false;
  }
  mode_ = mode;
  next_row_ = frame.steady;
  sync_.Follow(recording_->Path());
  if (mode == RECORDING_MOTION) TellMotion();
  return true;
}

// False when the disk does not take it.
bool Recorder::Append(const Frame& frame, int level) {
  const int status = recording_->Write(frame, level);
  if (status == MJE_ERR_FULL) {  // the next frame begins a new file
    End();
    return true;
  }
  if (status != MJE_OK) {
    Suspend(Clock::now(), std::string("cannot write: ") + strerror(errno));
    return false;
  }
  disk_trouble_.End();
  (void)failed_mail_.End();  // there is no mail for it
  suspension_ = std::chrono::seconds(0);
  if (frame.steady >= next_row_) Publish(frame.steady);
  return true;
}

void Recorder::Suspend(Clock::time_point now, const std::string& reason) {
  Fail("not recording: " + reason);
  space_.Look();
  suspension_ = std::clamp(2 * suspension_, kShortestSuspension, kLongestSuspension);
  suspended_until_ = now + suspension_;
}

void Recorder::Fail(const std::string& what) {
  disk_trouble_.Begin(Title(camera_) + ": " + what);
  if (failed_mail_.Begin()) mailer_.Post(WP_MAIL_RECORDING_FAILED, camera_);
}

// Once a motion: it may go on in further files.
void Recorder::TellMotion() {
  if (std::exchange(motion_told_, true)) return;
  mailer_.Post(WP_MAIL_MOTION_DETECTED, camera_, recording_->Row().start, recording_->Path());
}

void Recorder::Publish(Clock::time_point now) {
  sink_(recording_->Row());
  next_row_ = now + settings_.row_interval;
}

void Recorder::End() {
  if (recording_ == nullptr) return;
  if (recording_->Row().frames == 0) {
    sync_.Release(recording_->Path());
    recording_->Discard();
    recording_.reset();
    return;
  }
  if (!recording_->Finish()) {
    Fail(recording_->Row().path + " could not be completed: " + strerror(errno));
  }
  sync_.Release(recording_->Path());
  sink_(recording_->Row());
  recording_.reset();
  space_.Look();
}

void Recorder::OnConnectionLost() {
  const std::lock_guard lock(mutex_);
  motion_->Begin();
  history_.Clear();
  record_until_ = {};
  motion_told_ = false;
  End();
}

std::optional<Activity> Recorder::Look() {
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (!lock.owns_lock()) return std::nullopt;
  return Activity{frames_, recording_ == nullptr ? "" : recording_->Path(), level_};
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
