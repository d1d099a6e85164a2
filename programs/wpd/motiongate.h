// Decides which frames are wanted: by the schedule's hour and, in hours of motion, by what moves.
// Keeps the frames before the motion. One thread at a time uses an object.
#pragma once

#include <watchpost/service/daemonsettings.h>

#include <chrono>
#include <memory>

#include "camerarecord.h"
#include "frame.h"
#include "framehistory.h"
#include "log.h"
#include "mailer.h"

namespace wpd {

/// What becomes of one frame.
struct GateDecision {
  RecordingType mode = RECORDING_NONE;  ///< of the schedule's hour
  int level = 0;                        ///< of motion; 0 where nothing was compared
  bool wanted = false;
};

class MotionGate {
 public:
  /// `mailer` outlives the object.
  MotionGate(const watchpost::DaemonSettings& settings, const CameraRecord& record, Mailer& mailer);

  /// Takes over the camera's changed record. True when motion is judged differently from now on.
  bool SetRecord(const CameraRecord& record);

  GateDecision Judge(const Frame& frame);

  /// Keeps a frame that is not recorded, in case that motion follows.
  void Remember(const Frame& frame, const GateDecision& decision);

  /// The frames kept, with their levels; to be taken when a recording begins or goes on.
  [[nodiscard]] const FrameHistory& History() const { return history_; }
  void ForgetHistory() { history_.Clear(); }

  /// No frames for a while: what follows is not compared with what was before.
  void Reset();

 private:
  using Clock = std::chrono::steady_clock;

  watchpost::MotionResult Compare(const Frame& frame, RecordingType mode);
  void Report(const watchpost::MotionResult& seen);

  const std::chrono::seconds after_;
  CameraRecord record_;
  std::unique_ptr<watchpost::MotionSequence> motion_;
  FrameHistory history_;
  Clock::time_point record_until_;  // because of motion
  const bool record_unjudged_;
  Mailer& mailer_;
  Spell unjudged_trouble_;
  SpellState unjudged_mail_;
  Spell clipped_trouble_;  // logged once
  Spell regions_trouble_;
  Spell history_trouble_;  // logged once
};

}  // namespace wpd
