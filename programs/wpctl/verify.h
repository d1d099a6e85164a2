// Trying a camera's address.
#pragma once

#include <watchpost/camera/camera.h>

#include <string>

namespace wpctl {

/// Verifies the address in a record, which need not be stored: a CV_STATUS. `width` and `height`
/// are the expected size; with 0 any is right, which CV_ERR_DIMENSION then means, and they receive
/// it.
int VerifyAddress(const Camera& camera, int& width, int& height);

/// What a CV_STATUS means, and what to do about it.
std::string VerifyText(int status);

}  // namespace wpctl
