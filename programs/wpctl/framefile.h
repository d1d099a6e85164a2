// Single frames as JPEG files.
#pragma once

#include <sys/time.h>
#include <watchpost/camera/camera.h>

#include <string>

namespace wpctl {

/// "NAME-YYYYMMDD-HHMMSS.mmm.jpg" for a camera's frame of that moment.
std::string FrameFileName(const Camera& camera, const timeval& when);

/// Writes a frame into the file `path`, over what is there, or to standard output for "-". False,
/// with `error`, when it could not be written whole.
bool WriteFrame(const std::string& path,
                const unsigned char* data,
                std::size_t size,
                std::string& error);

}  // namespace wpctl
