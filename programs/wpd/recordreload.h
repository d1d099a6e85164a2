// Reading the camera's record again after somebody has changed it. Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>

#include <optional>

#include "camerarecord.h"
#include "databaseworker.h"

namespace wpd {

class RecordReload : public DatabaseTask {
 public:
  /// `worker` outlives the object.
  RecordReload(int camera_id, DatabaseWorker& worker) : camera_id_(camera_id), worker_(worker) {}

  /// Asks for the record to be read; Take gives it out when that is done.
  void Request();

  /// The record, once after each time that it was read; nothing else.
  std::optional<CameraRecord> Take();

 private:
  [[nodiscard]] bool HasWork() override;
  bool DoWork() override;

  const int camera_id_;
  DatabaseWorker& worker_;
  watchpost::Mutex mutex_;
  bool wanted_ WATCHPOST_GUARDED_BY(mutex_) = false;
  std::optional<CameraRecord> read_ WATCHPOST_GUARDED_BY(mutex_);
};

}  // namespace wpd
