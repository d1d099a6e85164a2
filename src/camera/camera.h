// The record of one network camera: how to reach it, what it delivers, where and when it is
// recorded. One row of table "camera", plus its motion regions in table "motion". An
// object is not shared.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "base/export.h"
#include "camera/camerapreset.h"
#include "camera/motiondetection.h"
#include "camera/schedule.h"
#include "platform/orvadb.h"

namespace watchpost {
struct Statement;
}

class WATCHPOST_API Camera {
 public:
  /// Type 1, sensitivity 99; every other number 0, every text empty, nothing recorded.
  Camera() noexcept = default;

  /// Loads row `id`; when that fails the id is 0 and the rest as in Camera().
  explicit Camera(int id) noexcept;

  /// A camera of a known model: its port and path are the preset's.
  Camera(std::string name, std::string host, CameraPreset preset) noexcept;

  Camera(std::string name,
         std::string host,
         int port,
         std::string path,
         std::string username,
         std::string password) noexcept;

  [[nodiscard]] int GetId() const noexcept { return id_; }
  [[nodiscard]] std::string GetName() const noexcept { return name_; }
  [[nodiscard]] std::string GetVendor() const noexcept { return vendor_; }
  [[nodiscard]] std::string GetModel() const noexcept { return model_; }
  [[nodiscard]] std::string GetHost() const noexcept { return host_; }
  [[nodiscard]] int GetPort() const noexcept { return port_; }
  [[nodiscard]] std::string GetPath() const noexcept { return path_; }
  [[nodiscard]] std::string GetUsername() const noexcept { return username_; }
  [[nodiscard]] std::string GetPassword() const noexcept { return password_; }
  [[nodiscard]] int GetImageWidth() const noexcept { return image_width_; }
  [[nodiscard]] int GetImageHeight() const noexcept { return image_height_; }
  [[nodiscard]] int GetFPS() const noexcept { return fps_; }
  [[nodiscard]] std::string GetStoragePath() const noexcept { return storage_path_; }
  [[nodiscard]] std::string GetFilenamePrefix() const noexcept { return filename_prefix_; }
  [[nodiscard]] int GetExpireDays() const noexcept { return expire_days_; }
  [[nodiscard]] int GetCapacityLimit() const noexcept { return capacity_limit_; }
  [[nodiscard]] bool IsRotatedByDate() const noexcept { return rotate_by_date_; }
  [[nodiscard]] bool IsRotatedBySize() const noexcept { return rotate_by_size_; }
  [[nodiscard]] int GetSensitivity() const noexcept { return sensitivity_; }
  [[nodiscard]] bool IsMotionLog() const noexcept { return motion_log_; }

  /// The record's own regions, to read and to edit; valid as long as the record.
  [[nodiscard]] MotionDetection* GetMotionDet() noexcept { return &motion_detection_; }

  void SetName(std::string name) noexcept { name_ = std::move(name); }
  void SetVendor(std::string vendor) noexcept { vendor_ = std::move(vendor); }
  void SetModel(std::string model) noexcept { model_ = std::move(model); }
  void SetHost(std::string host) noexcept { host_ = std::move(host); }
  void SetPort(int port) noexcept { port_ = port; }
  void SetPath(std::string path) noexcept { path_ = std::move(path); }
  void SetUsername(std::string username) noexcept { username_ = std::move(username); }
  void SetPassword(std::string password) noexcept { password_ = std::move(password); }
  void SetImageWidth(int width) noexcept { image_width_ = width; }
  void SetImageHeight(int height) noexcept { image_height_ = height; }
  void SetFPS(int fps) noexcept { fps_ = fps; }
  void SetStoragePath(std::string path) noexcept { storage_path_ = std::move(path); }
  void SetFilenamePrefix(std::string prefix) noexcept { filename_prefix_ = std::move(prefix); }
  void SetExpireDays(int days) noexcept { expire_days_ = days; }
  void SetCapacityLimit(int mib) noexcept { capacity_limit_ = mib; }
  void EnableRotateByDate(bool on) noexcept { rotate_by_date_ = on; }
  void EnableRotateBySize(bool on) noexcept { rotate_by_size_ = on; }
  void EnableMotionLog(bool on) noexcept { motion_log_ = on; }

  /// 0 to 100; anything else is refused with -1 and changes nothing. Returns 0 otherwise.
  int SetSensitivity(int sensitivity) noexcept;

  // --- Weekly schedule: days 0 (Sunday) to 6, hours 0 to 23, local time ---

  [[nodiscard]] bool IsTimeParamValid(int day, int hour) const noexcept;

  /// RECORDING_NONE for a position that does not exist.
  [[nodiscard]] RecordingType GetSchedule(int day, int hour) const noexcept;

  /// Stores any value. Returns 0, or -1 for a position that does not exist.
  int SetSchedule(int day, int hour, RecordingType type) noexcept;

  /// The mode of the present hour; RECORDING_NONE, with a line in the system log, when local time
  /// is not known.
  [[nodiscard]] RecordingType GetCurrentSchedule() const noexcept;

  /// As Schedule::ToText and Schedule::FromText.
  [[nodiscard]] std::string StringFromSchedule() const noexcept;
  void ScheduleFromString(std::string text) noexcept;

  /// Does nothing visible.
  void DumpSchedule() const noexcept;

  // --- Persistence: 0 on success, -1 on failure. Each blocks for the database; failures are
  // logged. ---

  /// Reads row `id` and its regions. On failure the id is 0 and the rest unchanged.
  int Load(int id) noexcept;

  /// Reads the row of the present id again.
  int Reload() noexcept;

  /// Reads the regions of the present id again.
  int ReloadMotionDet() noexcept;

  /// Inserts the record under its own id; logs nothing.
  int Insert() noexcept;

  /// Inserts the record under an id that the database gives, and takes that id.
  int InsertByNewID() noexcept;

  /// Rewrites the row of the present id.
  int Update() noexcept;

  /// Cuts texts to their longest: name, host, storage path and filename prefix 256 bytes, path 512,
  /// vendor, model, user name and password 128.
  void Validate() noexcept;

  /// Validates and stores the record and its regions. Id 0: inserts it, as the temporary record
  /// under id 0 (which replaces an earlier one) when `temporary`, else under a new id. Any other
  /// id: updates the row, and returns 0 even when that fails.
  int Save(bool temporary) noexcept;

  /// Stores the record as the temporary one, under id 0; the object keeps its id.
  int SaveTemp() noexcept;

  [[nodiscard]] bool IsSaved() const noexcept { return id_ > 0; }

  /// Removes the camera's recordings, their rows, its regions and its row. The object keeps its id.
  /// When the recordings' rows could not be removed, nothing else is, either.
  int Delete() noexcept;

  /// Removes only the row.
  int DeleteDBEntry() noexcept;

  /// Moves the storage folder into the volume's "@tmp", from where a process in the background
  /// removes it, and deletes the rows of the recordings, these also when the folder could not be
  /// moved.
  int DeleteEventsOfCamera() noexcept;

  /// Hands every field to DumpField, which does nothing.
  void Dump() const noexcept;

  /// Fills the record, less its regions, from a row of a result. -1 for a null result.
  int PutRowIntoClassCamera(__tag_DBResult* result, unsigned int row) noexcept;

  /// The statements that write the record.
  [[nodiscard]] std::string strSqlInsert() const noexcept;
  [[nodiscard]] std::string strSqlInsertByDefaultID() const noexcept;
  [[nodiscard]] std::string strSqlUpdate() const noexcept;

 private:
  watchpost::Statement FormatFields(const std::string& format) const noexcept;
  watchpost::Statement FormatInsert() const noexcept;
  watchpost::Statement FormatInsertByDefaultID() const noexcept;
  watchpost::Statement FormatUpdate() const noexcept;
  static void DumpField(const char* key, const char* value) noexcept;
  static void DumpField(const char* key, int value) noexcept;

  std::int32_t id_ = 0;
  std::int32_t type_ = 1;
  std::string vendor_;
  std::string model_;
  std::string name_;
  std::string host_;
  std::int32_t port_ = 0;
  std::string path_;
  std::string username_;
  std::string password_;
  std::int32_t image_width_ = 0;
  std::int32_t image_height_ = 0;
  std::int32_t fps_ = 0;
  std::string storage_path_;
  std::string filename_prefix_;
  bool rotate_by_date_ = false;
  bool rotate_by_size_ = false;
  std::int32_t expire_days_ = 0;
  std::int32_t capacity_limit_ = 0;
  std::int32_t sensitivity_ = 99;
  MotionDetection motion_detection_;
  bool motion_log_ = false;
  watchpost::Schedule schedule_;
};

/// Ids of all stored cameras, ascending, without the temporary record; empty when the database
/// cannot be read.
WATCHPOST_API std::list<int> CameraEnum() noexcept;

/// All stored cameras with their regions, ascending by id; empty when the database cannot be read.
WATCHPOST_API std::list<Camera> CameraGetAll() noexcept;
