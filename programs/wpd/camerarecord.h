// What the database says about the daemon's camera.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/motion/motionsequence.h>

#include <vector>

namespace wpd {

struct CameraRecord {
  Camera camera;
  std::vector<watchpost::PixelRegion> regions;  ///< where motion counts; none means everywhere
};

/// Reads the record; false when there is none, or the database does not answer.
bool LoadRecord(int camera_id, CameraRecord& record);

}  // namespace wpd
