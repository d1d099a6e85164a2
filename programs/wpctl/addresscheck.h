// Trying a camera's address.
#pragma once

#include <watchpost/camera/camera.h>

#include <string>

namespace wpctl {

/// Verifies the address in a record, which need not be stored: a CV_STATUS. `width` and `height`
/// are the expected size; with 0 any is right, which CV_ERR_DIMENSION then means, and they receive
/// it.
int VerifyAddress(const Camera& camera, int& width, int& height);

/// What is wrong inside a stream that delivers parts; goes on where CV_STATUS ends.
enum StreamTrouble : int {
  kStreamChunked = 100,  ///< lengths of chunks stand between the bytes of its frames
  kStreamDamaged = 101,  ///< frames are cut off, or changed on the way
  kStreamSlow = 102,     ///< nothing was decided within the time limit
};

/// Whether the content type of a part is one that is recorded.
bool IsJpegType(const char* type);

/// Fetches a few frames and looks inside: CV_OK, a CV_STATUS or a StreamTrouble.
int InspectFrames(const Camera& camera);

/// What a CV_STATUS or StreamTrouble means, and what to do about it.
std::string VerifyText(int status);

}  // namespace wpctl
