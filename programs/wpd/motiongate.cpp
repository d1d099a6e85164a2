#include "motiongate.h"

namespace wpd {
namespace {

constexpr std::chrono::seconds kSteady{10};

std::unique_ptr<watchpost::MotionSequence> MakeSequence(const CameraRecord& record) {
  return std::make_unique<watchpost::MotionSequence>(
      record.regions, record.camera.GetSensitivity(), watchpost::MotionSequence::kUsuallyFast);
}

}  // namespace

MotionGate::MotionGate(const watchpost::DaemonSettings& settings,
                       const CameraRecord& record,
                       Mailer& mailer)
    : after_(settings.motion_after),
      record_(record),
      motion_(MakeSequence(record)),
      history_(settings.motion_before, static_cast<std::size_t>(settings.history_bytes)),
      record_unjudged_(settings.record_unjudged),
      mailer_(mailer),
      unjudged_trouble_(Title(record.camera) + ": its frames can be judged again", kSteady),
      unjudged_mail_(settings.mail_steady),
      clipped_trouble_(""),
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
  const bool moves = seen.motion || (seen.broken && record_unjudged_);
  if (decision.mode == RECORDING_MOTION && moves) record_until_ = frame.steady + after_;
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
  Report(seen);
  return seen;
}

void MotionGate::Report(const watchpost::MotionResult& seen) {
  const std::string title = Title(record_.camera);
  if (seen.outside) {
    regions_trouble_.Begin(title +
                           ": none of its regions lies in its picture; nothing counts as motion");
  } else {
    regions_trouble_.End();
  }
  if (seen.clipped) clipped_trouble_.Begin(title + ": " + watchpost::MotionSequence::kClippedText);
  if (seen.broken) {
    unjudged_trouble_.Begin(title + ": its frames are damaged, and motion cannot be found in them" +
                            (record_unjudged_ ? "; they are recorded as if something moved" : ""));
    if (unjudged_mail_.Begin()) mailer_.Post(WP_MAIL_RECORDING_FAILED, record_.camera);
  } else if (seen.compared) {
    unjudged_trouble_.End();
    (void)unjudged_mail_.End();  // there is no mail for it
  }
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
