// Records the frames that are wanted, and decides into which file. Thread-safe: the fetching thread
// hands in frames while the main thread ends recordings.
#pragma once

#include <watchpost/base/mutex.h>
#include <watchpost/service/daemonsettings.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "camerarecord.h"
#include "disktrouble.h"
#include "filesync.h"
#include "folderwatch.h"
#include "mailer.h"
#include "motiongate.h"
#include "recording.h"
#include "rowwriter.h"
#include "spacekeeper.h"
#include "statusfile.h"

namespace wpd {

class Recorder {
 public:
  /// What a recorder works with; all outlive it.
  struct Parts {
    SharedRecord& record;
    FileSync& sync;       ///< learns which file is being written
    SpaceKeeper& space;   ///< checks the disk when a file has ended or could not be written
    Mailer& mailer;       ///< for mails about motion, and about recording that fails
    RowWriter& rows;      ///< gets every new state of a row
    FolderWatch& folder;  ///< whether there is where to record, and finishing what could not be
  };

  Recorder(const watchpost::DaemonSettings& settings, Parts parts);

  /// Judges a frame and records it when it is wanted.
  void OnFrame(const Frame& frame);

  /// Writes the frames that were gathered: the next one is not there yet.
  void OnPause();

  /// Ends the present recording: there will be no frames for a while.
  void OnConnectionLost();

  /// What is going on; nothing while a frame is being recorded.
  std::optional<Activity> Snapshot();

  /// Ends a recording whose hour is over, or whose file somebody took away, also when no frame
  /// comes. Called about once a second.
  void OnTick();

  /// Ends the present recording and takes no more frames. False when the frame at hand could not be
  /// waited for within `limit`; nothing is ended then.
  bool Close(std::chrono::milliseconds limit);

 private:
  using Clock = std::chrono::steady_clock;

  [[nodiscard]] const Camera& TheCamera() const WATCHPOST_REQUIRES(mutex_) {
    return record_->camera;
  }
  void TakeOverRecord() WATCHPOST_REQUIRES(mutex_);
  bool NeedsNewFile(const Frame& frame, RecordingType mode) const WATCHPOST_REQUIRES(mutex_);
  [[nodiscard]] std::uint64_t LargestFile() const WATCHPOST_REQUIRES(mutex_);
  [[nodiscard]] bool HasFolder() const WATCHPOST_REQUIRES(mutex_);
  bool MayRecord(Clock::time_point now) WATCHPOST_REQUIRES(mutex_);
  [[nodiscard]] Idle WhyIdle() const WATCHPOST_REQUIRES(mutex_);
  void Record(const Frame& frame, const GateDecision& decision) WATCHPOST_REQUIRES(mutex_);
  bool Put(const Frame& frame, int level, RecordingType mode) WATCHPOST_REQUIRES(mutex_);
  bool Begin(const Frame& frame, RecordingType mode) WATCHPOST_REQUIRES(mutex_);
  bool Append(const Frame& frame, int level) WATCHPOST_REQUIRES(mutex_);
  void End() WATCHPOST_REQUIRES(mutex_);
  void StopWriting() WATCHPOST_REQUIRES(mutex_);
  void Suspend(const std::string& reason) WATCHPOST_REQUIRES(mutex_);
  void SendMotionMail() WATCHPOST_REQUIRES(mutex_);

  const watchpost::DaemonSettings settings_;
  const Parts parts_;
  watchpost::Mutex mutex_;
  std::shared_ptr<const CameraRecord> record_ WATCHPOST_GUARDED_BY(mutex_);
  MotionGate gate_ WATCHPOST_GUARDED_BY(mutex_);
  DiskTrouble disk_ WATCHPOST_GUARDED_BY(mutex_);
  std::unique_ptr<Recording> recording_ WATCHPOST_GUARDED_BY(mutex_);
  // Under which recording_ was begun.
  RecordingType mode_ WATCHPOST_GUARDED_BY(mutex_) = RECORDING_NONE;
  Clock::time_point next_row_ WATCHPOST_GUARDED_BY(mutex_);
  Activity activity_ WATCHPOST_GUARDED_BY(mutex_);
  bool motion_mailed_ WATCHPOST_GUARDED_BY(mutex_) = false;  // once a motion
  bool closed_ WATCHPOST_GUARDED_BY(mutex_) = false;
};

}  // namespace wpd
