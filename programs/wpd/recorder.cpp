#include "recorder.h"

#include <string.h>
#include <watchpost/event/camerafolder.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

namespace wpd {
namespace {

using watchpost::MutexLock;

// The index of a file grows in memory with each frame, however small.
constexpr int kMostFrames = 400000;

std::string WriteError() {
  return std::string("cannot write: ") + strerror(errno);
}

}  // namespace

Recorder::Recorder(const watchpost::DaemonSettings& settings, Parts parts)
    : settings_(settings),
      parts_(parts),
      record_(parts.record.Get()),
      gate_(settings, *record_, parts.mailer),
      disk_(settings, record_->camera, parts.mailer) {}

// A change of where recordings go, or of what counts as motion, ends the present one: the log of a
// recording holds the sensitivity that its levels are to be judged by.
void Recorder::TakeOverRecord() {
  auto fresh = parts_.record.Get();
  if (fresh == record_) return;
  const Camera& camera = fresh->camera;
  const bool moved = camera.GetStoragePath() != TheCamera().GetStoragePath() ||
                     camera.GetFilenamePrefix() != TheCamera().GetFilenamePrefix() ||
                     camera.IsMotionLog() != TheCamera().IsMotionLog();
  const bool judges_differently = gate_.SetRecord(*fresh);
  record_ = std::move(fresh);
  if (moved || (judges_differently && TheCamera().IsMotionLog())) End();
}

void Recorder::OnFrame(const Frame& frame) {
  const MutexLock lock(mutex_);
  if (closed_) return;
  TakeOverRecord();
  ++activity_.frames;
  const GateDecision decision = gate_.Judge(frame);
  activity_.level = decision.level;
  if (recording_ != nullptr && NeedsNewFile(frame, decision.mode)) End();
  if (!decision.wanted) {
    motion_mailed_ = false;
    End();
  }
  if (decision.wanted && MayRecord(frame.steady)) return Record(frame, decision);
  gate_.Remember(frame, decision);
}

void Recorder::Record(const Frame& frame, const GateDecision& decision) {
  bool goes_on = true;
  for (const FrameHistory::Kept& before : gate_.History().Frames()) {
    if (decision.mode == RECORDING_MOTION && goes_on)
      goes_on = Put(before.frame, before.level, decision.mode);
  }
  gate_.ForgetHistory();
  if (goes_on) (void)Put(frame, decision.level, decision.mode);  // what failed was reported
}

// Frames from before the motion may have another size.
bool Recorder::Put(const Frame& frame, int level, RecordingType mode) {
  if (recording_ != nullptr && !(frame.picture == recording_->Size())) End();
  return (recording_ != nullptr || Begin(frame, mode)) && Append(frame, level);
}

bool Recorder::NeedsNewFile(const Frame& frame, RecordingType mode) const {
  constexpr std::chrono::seconds kLargestStep{2};
  return mode != mode_ || !(frame.picture == recording_->Size()) ||
         recording_->Age(frame.steady) >= settings_.cut_after ||
         recording_->ClockStep(frame) > kLargestStep ||
         recording_->Bytes() + frame.size > LargestFile() ||
         recording_->Row().GetFrameCount() >= kMostFrames;
}

// A tenth of the camera's limit at most: the file at hand cannot be rotated.
std::uint64_t Recorder::LargestFile() const {
  constexpr int kMiB = 20;
  constexpr std::uint64_t kShare = 10;
  const Camera& camera = TheCamera();
  if (!camera.IsRotatedBySize() || camera.GetCapacityLimit() <= 0) return settings_.cut_bytes;
  const auto limit = static_cast<std::uint64_t>(camera.GetCapacityLimit()) << kMiB;
  return std::min(settings_.cut_bytes, limit / kShare);
}

// Asked anew before a file is begun: it may have gone since the watch has looked.
bool Recorder::HasFolder() const {
  return parts_.folder.IsReady() &&
         (recording_ != nullptr ||
          watchpost::ExamineCameraFolder(TheCamera()) == watchpost::FolderState::kReady);
}

bool Recorder::MayRecord(Clock::time_point now) {
  std::string reason;
  if (!HasFolder())
    reason = watchpost::MissingFolderText(TheCamera().GetStoragePath());
  else if (parts_.space.IsHeldBack())
    reason = "its disk is nearly full, and it has no limit that would let old recordings go";
  if (reason.empty()) return disk_.Check(TheCamera(), now) != DiskTrouble::State::kPaused;
  disk_.Report(TheCamera(), "not recording: " + reason);
  End();
  return false;
}

bool Recorder::Begin(const Frame& frame, RecordingType mode) {
  std::string error;
  const EVENT_CAUSE cause = mode == RECORDING_MOTION ? EVENT_CAUSE_MOTION : EVENT_CAUSE_CONTINUOUS;
  {
    const MutexLock lock(parts_.folder.Beginning());
    recording_ = Recording::Start(TheCamera(), cause, frame, error);
  }
  if (recording_ == nullptr) {
    Suspend(error);
    return false;
  }
  mode_ = mode;
  next_row_ = frame.steady;
  parts_.sync.Follow(recording_->Path());
  if (mode == RECORDING_MOTION) SendMotionMail();
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
    StopWriting();
    return false;
  }
  if (disk_.End()) parts_.folder.Repair();  // what had no room for its end has it now
  if (frame.steady < next_row_) return true;
  parts_.space.OnWritten(recording_->TakeGrowth());
  parts_.rows.Put(recording_->Row(), recording_->Path(), false);
  next_row_ = frame.steady + settings_.row_interval;
  return true;
}

void Recorder::StopWriting() {
  Suspend(WriteError());
  End();  // so that it can be rotated
}

void Recorder::Suspend(const std::string& reason) {
  disk_.Suspend(TheCamera(), reason);
  parts_.space.OnFull();
}

// Once a motion: it may go on in further files.
void Recorder::SendMotionMail() {
  if (std::exchange(motion_mailed_, true)) return;
  parts_.mailer.Post(
      WP_MAIL_MOTION_DETECTED, TheCamera(), recording_->Row().GetStartTime(), recording_->Path());
}

void Recorder::End() {
  if (recording_ == nullptr) return;
  const std::unique_ptr<Recording> recording = std::move(recording_);
  if (recording->Row().GetFrameCount() == 0) {
    parts_.sync.Release(recording->Path());
    recording->Discard();
    return;
  }
  // What waits to be written is told of as any frame that cannot be; the rest may be ended later.
  if (recording->WriteGathered() != MJE_OK) Suspend(WriteError());
  const bool complete = recording->Finish();
  if (!complete) {
    disk_.Report(TheCamera(),
                 recording->Row().GetPath() + " could not be completed: " + strerror(errno));
  }
  parts_.sync.Release(recording->Path());
  parts_.space.OnWritten(recording->TakeGrowth());
  parts_.rows.Put(recording->Row(), recording->Path(), complete);
  if (!complete) parts_.folder.Repair();
  parts_.space.Wake();
}

void Recorder::OnConnectionLost() {
  const MutexLock lock(mutex_);
  gate_.Reset();
  motion_mailed_ = false;
  End();
}

std::optional<Activity> Recorder::Snapshot() {
  if (!mutex_.TryLock()) return std::nullopt;
  Activity activity = activity_;
  if (recording_ != nullptr) activity.file = recording_->Path();
  activity.idle = WhyIdle();
  mutex_.Unlock();
  return activity;
}

// Trouble first; what the camera does is known to whoever fetches its frames.
Idle Recorder::WhyIdle() const {
  if (recording_ != nullptr) return {false, ""};
  if (!disk_.Reason().empty()) return {true, disk_.Reason()};
  switch (TheCamera().GetCurrentSchedule()) {
    case RECORDING_CONTINUOUS:
      return {true, "no frames come from the camera"};
    case RECORDING_MOTION:
      return {false, "nothing moves"};
    default:
      return {false, "its schedule says so"};
  }
}

void Recorder::OnPause() {
  const MutexLock lock(mutex_);
  if (recording_ != nullptr && recording_->WriteGathered() != MJE_OK) StopWriting();
}

void Recorder::OnTick() {
  if (!mutex_.TryLock()) return;
  TakeOverRecord();
  if (recording_ != nullptr && !recording_->IsInPlace()) {
    const std::string name = recording_->Row().GetPath();
    End();
    parts_.folder.Repair();  // its note may lie on a disk that is away for a moment
    if (HasFolder())
      disk_.ReportOnce(TheCamera(), name + " has gone from its folder; beginning another");
  } else if (recording_ != nullptr && TheCamera().GetCurrentSchedule() != mode_) {
    End();
  } else if (recording_ != nullptr && recording_->WriteOverdue(Clock::now()) != MJE_OK) {
    StopWriting();
  }
  mutex_.Unlock();
}

bool Recorder::Close(std::chrono::milliseconds limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while (!mutex_.TryLock()) {
    if (Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  closed_ = true;
  End();
  mutex_.Unlock();
  return true;
}

}  // namespace wpd
