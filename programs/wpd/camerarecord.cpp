#include "camerarecord.h"

#include <watchpost/camera/motiondetection.h>

#include <utility>

namespace wpd {

using watchpost::MutexLock;

bool LoadRecord(int camera_id, CameraRecord& record) {
  if (record.camera.Load(camera_id) != 0) return false;
  MotionDetection motion;
  if (!motion.Read(camera_id)) return false;
  record.regions = motion.Rectangles();
  return true;
}

std::string Title(const Camera& camera) {
  return "camera " + std::to_string(camera.GetId()) + " (" + camera.GetName() + ")";
}

SharedRecord::SharedRecord(CameraRecord record)
    : record_(std::make_shared<const CameraRecord>(std::move(record))) {}

std::shared_ptr<const CameraRecord> SharedRecord::Get() {
  const MutexLock lock(mutex_);
  return record_;
}

void SharedRecord::Set(CameraRecord record) {
  auto fresh = std::make_shared<const CameraRecord>(std::move(record));
  const MutexLock lock(mutex_);
  record_.swap(fresh);
}

}  // namespace wpd
