#include "motiongate.h"

namespace wpd {
namespace {

std::unique_ptr<watchpost::MotionSequence> MakeSequence(const CameraRecord& record) {
  return std::make_unique<watchpost::MotionSequence>(
      record.regions, record.camera.GetSensitivity(), watchpost::MotionSequence::kUsuallyFast);
}

}  // namespace

MotionGate::MotionGate(const watchpost::DaemonSettings& settings, const CameraRecord& record)
    : after_(settings.motion_after),
      record_(record),
      motion_(MakeSequence(record)),
      history_(settings.motion_before, settings.history_bytes),
      regions_trouble_(Title(record.camera) + ": a region lies in its picture again"),
      history_trouble_("") {}

bool MotionGate::SetRecord(const CameraRecord& record) {
  const bool changed = record.camera.GetSensitivity() != record_.camera.GetSensitivity() ||
                       record.regions != record_.regions;
  record_ = record;
  if (changed) motion_ = MakeSequence(record_);
  return changed;
}

GateDecision MotionGate::Judge(const Frame& frame) {
  GateDecision decision;
  decision.mode = record_.camera.GetCurrentSchedule();
  const watchpost::MotionResult seen = Compare(frame, decision.mode);
  decision.level = seen.level;
  if (decision.mode == RECORDING_MOTION && seen.motion) record_until_ = frame.steady + after_;
  decision.wanted = decision.mode == RECORDING_CONTINUOUS ||
                    (decision.mode == RECORDING_MOTION && frame.steady <= record_until_);
  return decision;
}

// A pause in comparing must not make the first frame after it look like motion.
watchpost::MotionResult MotionGate::Compare(const Frame& frame, RecordingType mode) {
  if (mode != RECORDING_MOTION && (mode != RECORDING_CONTINUOUS || !record_.camera.IsMotionLog())) {
    motion_->Begin();
    return {};
  }
  const watchpost::MotionResult seen = motion_->Compare(frame.data, static_cast<int>(frame.size));
  if (seen.outside) {
    regions_trouble_.Begin(Title(record_.camera) +
                           ": none of its regions lies in its picture; nothing counts as motion");
  } else {
    regions_trouble_.End();
  }
  return seen;
}

void MotionGate::Remember(const Frame& frame, const GateDecision& decision) {
  if (decision.mode != RECORDING_MOTION) return;
  if (history_.Add(frame, decision.level)) return;
  history_trouble_.Begin(Title(record_.camera) +
                         ": motion_history_mebibytes is too small for the seconds before motion; "
                         "recordings begin later");
}

void MotionGate::Reset() {
  motion_->Begin();
  history_.Clear();
  record_until_ = {};
}

}  // namespace wpd
