#include "camerarecord.h"

#include <watchpost/camera/motiondetection.h>

namespace wpd {

bool LoadRecord(int camera_id, CameraRecord& record) {
  if (record.camera.Load(camera_id) != 0) return false;
  MotionDetection motion;
  (void)motion.Reload(camera_id);  // failing now leaves no region: the whole picture counts
  record.regions.clear();
  for (int i = 0; i < motion.RegionCount(); ++i) {
    const MotionRegion& region = motion.GetRegion(i);
    record.regions.push_back({region.Left(), region.Top(), region.Right(), region.Bottom()});
  }
  return true;
}

}  // namespace wpd
