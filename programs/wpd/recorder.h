// Decides, frame by frame, what is recorded and into which file. Thread-safe: the fetching thread
// hands in frames while the main thread ends recordings.
#pragma once

#include <watchpost/camera/camera.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "log.h"
#include "recording.h"
#include "settings.h"

namespace wpd {

class Recorder {
 public:
  using RowSink = std::function<void(const RecordingRow& row)>;

  /// `sink` receives every new state of a row and must not block.
  Recorder(const Settings& settings, const Camera& camera, RowSink sink);

  /// Takes over changed settings of the camera; a change of where recordings go ends the present
  /// one.
  void SetCamera(const Camera& camera);

  /// Looks at a frame and records it when the schedule says so.
  void OnFrame(const Frame& frame);

  /// Ends the present recording: there will be no frames for a while.
  void OnConnectionLost();

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
  void Begin(const Frame& frame, RecordingType mode);
  void Append(const Frame& frame);
  void End();
  void Publish(Clock::time_point now);
  void Suspend(Clock::time_point now, const std::string& reason);

  const Settings settings_;
  const RowSink sink_;
  std::mutex mutex_;  // guards all below
  Camera camera_;
  std::unique_ptr<Recording> recording_;
  RecordingType mode_ = RECORDING_NONE;  // under which recording_ was begun
  Clock::time_point next_row_;
  Clock::time_point suspended_until_;   // while the disk takes nothing
  std::chrono::seconds suspension_{0};  // how long the present one lasts, 0 without trouble
  bool closed_ = false;
  Spell disk_trouble_;
};

}  // namespace wpd
