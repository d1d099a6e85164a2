// What the database says about the daemon's camera, shared by all threads. Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>
#include <watchpost/camera/camera.h>
#include <watchpost/motion/motionsequence.h>

#include <memory>
#include <string>
#include <vector>

namespace wpd {

struct CameraRecord {
  Camera camera;
  std::vector<watchpost::PixelRegion> regions;  ///< where motion counts; none means everywhere
};

/// Reads the record; false when there is none, or the database does not answer.
bool LoadRecord(int camera_id, CameraRecord& record);

/// "camera 3 (Porch)", for messages.
std::string Title(const Camera& camera);

/// The record as it is now. Who asks gets it whole, and keeps it for as long as the pointer.
class SharedRecord {
 public:
  explicit SharedRecord(CameraRecord record);

  [[nodiscard]] std::shared_ptr<const CameraRecord> Get();
  void Set(CameraRecord record);

 private:
  watchpost::Mutex mutex_;
  std::shared_ptr<const CameraRecord> record_ WATCHPOST_GUARDED_BY(mutex_);
};

}  // namespace wpd
