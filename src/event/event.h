// One recording: a video file, described by a row of table "event". An object is not
// shared.
#pragma once

#include <cstdint>
#include <string>

#include "base/export.h"
#include "platform/orvadb.h"

namespace watchpost {
struct Statement;
}

/// Why a recording was made. Recorders may store other values; 0 is never a cause and means "any"
/// in queries.
enum EVENT_CAUSE : int {
  EVENT_CAUSE_ANY = 0,
  EVENT_CAUSE_CONTINUOUS = 1,  ///< the schedule said so
  EVENT_CAUSE_MOTION = 2,      ///< something moved
};

class WATCHPOST_API Event {
 public:
  /// Not stored; every number 0, no path.
  Event() noexcept = default;

  /// Reads row `id`; without such a row the event counts as not stored. When the database cannot be
  /// read it counts as stored, but is empty: look at the path before acting on it.
  explicit Event(int id) noexcept;

  /// A new recording, not stored yet. `path` is the file's name relative to the camera's storage
  /// folder.
  Event(int cameraId, int width, int height, EVENT_CAUSE cause, std::string path) noexcept;

  [[nodiscard]] int GetID() const noexcept { return id_; }
  [[nodiscard]] int GetCameraID() const noexcept { return camera_id_; }
  [[nodiscard]] int GetVideoWidth() const noexcept { return video_width_; }
  [[nodiscard]] int GetVideoHeight() const noexcept { return video_height_; }
  [[nodiscard]] long GetStartTime() const noexcept { return start_time_; }
  [[nodiscard]] long GetStopTime() const noexcept { return stop_time_; }
  [[nodiscard]] int GetFrameCount() const noexcept { return frame_count_; }
  [[nodiscard]] EVENT_CAUSE GetCause() const noexcept { return cause_; }
  [[nodiscard]] bool GetArchived() const noexcept { return archived_; }
  [[nodiscard]] std::string GetPath() const noexcept { return path_; }
  [[nodiscard]] int GetSize() const noexcept { return file_size_; }

  /// The id of the event's row, once somebody else has inserted or found it (event/eventstore.h).
  void SetID(int id) noexcept { id_ = id; }
  void SetVideoWidth(int pixels) noexcept { video_width_ = pixels; }
  void SetVideoHeight(int pixels) noexcept { video_height_ = pixels; }
  void SetStartTime(long seconds) noexcept { start_time_ = seconds; }
  /// Sets the stop time.
  void SetEndTime(long seconds) noexcept { stop_time_ = seconds; }
  void SetFrameCount(int frames) noexcept { frame_count_ = frames; }
  void SetCause(EVENT_CAUSE cause) noexcept { cause_ = cause; }
  void SetArchive(bool archived) noexcept { archived_ = archived; }
  void SetPath(std::string path) noexcept { path_ = std::move(path); }
  void SetSize(int bytes) noexcept { file_size_ = bytes; }

  /// Fills every field from a row of a result. Returns 0, or -1 for a null result.
  int PutRowIntoObj(DBResult* result, unsigned int row) noexcept;

  /// Reads the row of the present id again. Returns -1 for id 0 and when the database cannot be
  /// read, with nothing changed; else 0, and without such a row the id becomes 0.
  int Reload() noexcept;

  /// The statements that write the row, cut to 16,383 bytes.
  [[nodiscard]] std::string strSqlInsert() const noexcept;
  [[nodiscard]] std::string strSqlUpdate() const noexcept;

  // The following return 0, or -1 with a line in the system log. A statement that had to be cut is
  // not run.

  /// Inserts a row and takes the id that the database gave it.
  int SqlInsert() noexcept;

  /// Rewrites the row of the present id.
  int SqlUpdate() noexcept;

  /// Inserts an event that is not stored, updates one that is.
  int Save() noexcept;

  /// Removes the row, not the file; the event then counts as not stored.
  int Delete() noexcept;

  [[nodiscard]] bool IsSaved() const noexcept { return id_ != 0; }

  /// Does nothing.
  void Dump() const noexcept {}

 private:
  [[nodiscard]] watchpost::Statement FormatInsert() const noexcept;
  [[nodiscard]] watchpost::Statement FormatUpdate() const noexcept;

  std::int32_t id_ = 0;
  std::int32_t camera_id_ = 0;
  std::int32_t video_width_ = 0;
  std::int32_t video_height_ = 0;
  long start_time_ = 0;  // of the first frame, seconds since the epoch
  long stop_time_ = 0;   // of the last frame
  std::int32_t frame_count_ = 0;
  EVENT_CAUSE cause_ = EVENT_CAUSE_ANY;
  bool archived_ = false;
  std::string path_;
  std::int32_t file_size_ = 0;  // bytes
};
