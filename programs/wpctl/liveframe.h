// The frame that a camera's daemon delivered last.
#pragma once

#include <watchpost/camera/camera.h>

#include <vector>

namespace wpctl {

/// From the ring; empty when no daemon keeps one, or it is not of now.
std::vector<unsigned char> LatestFrame(int camera_id);

/// Whether a picture is larger than the part of it in which motion is found.
bool ExceedsWatchedPart(int width, int height);

/// The same for a camera's, by its record or its latest frame.
bool ExceedsWatchedPart(const Camera& camera);

/// Says so on standard error.
void SayClipped(const Camera& camera);

}  // namespace wpctl
