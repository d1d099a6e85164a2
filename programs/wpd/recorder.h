// Decides, frame by frame, what is recorded and into which file. Thread-safe: the fetching thread
// hands in frames while the main thread ends recordings.
#pragma once

#include <watchpost/camera/camera.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "camerarecord.h"
#include "filesync.h"
#include "framehistory.h"
#include "log.h"
#include "mailer.h"
#include "recording.h"
#include "settings.h"
#include "spacekeeper.h"
#include "statusfile.h"

namespace wpd {

class Recorder {
 public:
  using RowSink = std::function<void(const RecordingRow& row)>;

  /// `sync` learns which file is being written, `space` when to look at the disk; `mailer` tells of
  /// motion, and of recording that fails. `sink` receives every new state of a row and must not
  /// block.
  Recorder(const Settings& settings,
           const CameraRecord& record,
           FileSync& sync,
           SpaceKeeper& space,
           Mailer& mailer,
           RowSink sink);

  /// Takes over changed settings of the camera; a change of where recordings go, or of what counts
  /// as motion, ends the present one.
  void SetRecord(const CameraRecord& record);

  /// Looks at a frame and records it when the schedule, or what moves in it, says so.
  void OnFrame(const Frame& frame);

  /// Ends the present recording: there will be no frames for a while.
  void OnConnectionLost();

  /// What is going on; nothing while a frame is being recorded.
  std::optional<Activity> Look();

  /// Ends a recording whose hour is over, or whose file somebody took away, also when no frame
  /// comes. Called about once a second.
  void OnTick();

  /// Ends the present recording and takes no more frames. False when the frame at hand could not be
  /// waited for within `limit`; nothing is ended then.
  bool Close(std::chrono::milliseconds limit);

 private:
  using Clock = std::chrono::steady_clock;

  bool NeedsNewFile(const Frame& frame, RecordingType mode) const;
  bool MayRecordAgain(Clock::time_point now);
  watchpost::MotionResult LookForMotion(const Frame& frame, RecordingType mode);
  void Record(const Frame& frame, int level, RecordingType mode);
  bool Begin(const Frame& frame, RecordingType mode);
  bool Append(const Frame& frame, int level);
  void End();
  void Publish(Clock::time_point now);
  void Suspend(Clock::time_point now, const std::string& reason);
  void Fail(const std::string& what);
  void TellMotion();

  const Settings settings_;
  FileSync& sync_;
  SpaceKeeper& space_;
  Mailer& mailer_;
  const RowSink sink_;
  std::mutex mutex_;  // guards all below
  Camera camera_;
  std::vector<watchpost::PixelRegion> regions_;
  std::unique_ptr<watchpost::MotionSequence> motion_;
  FrameHistory history_;            // what came since the last frame that was recorded
  Clock::time_point record_until_;  // because of motion
  std::unique_ptr<Recording> recording_;
  RecordingType mode_ = RECORDING_NONE;  // under which recording_ was begun
  Clock::time_point next_row_;
  Clock::time_point suspended_until_;   // while the disk takes nothing
  std::chrono::seconds suspension_{0};  // how long the present one lasts, 0 without trouble
  bool closed_ = false;
  std::uint64_t frames_ = 0;
  int level_ = 0;
  bool motion_told_ = false;  // the mail of this motion has gone out
  Spell disk_trouble_;
  SpellState failed_mail_;
  Spell regions_trouble_;
  Spell history_trouble_;  // told once
};

}  // namespace wpd
