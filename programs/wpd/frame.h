// A frame as it came from the camera.
#pragma once

#include <chrono>
#include <cstdint>

#include <watchpost/media/jpegsize.h>

namespace wpd {

/// With the moment of its arrival on two clocks.
struct Frame {
  const unsigned char* data;
  std::uint32_t size;
  watchpost::PictureSize picture;
  std::chrono::system_clock::time_point wall;
  std::chrono::steady_clock::time_point steady;
};

}  // namespace wpd
