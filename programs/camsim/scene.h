// A drawn scene: a textured background, a bright block that moves over it, and the frame's number
// as text.
#pragma once

#include <cstdint>
#include <memory>

#include "frames.h"

namespace camsim {

struct SceneOptions {
  int width = 640;   ///< pixels, 16 to 8192
  int height = 480;  ///< pixels, 16 to 8192
  int quality = 75;  ///< of the JPEG encoder, 1 to 100
};

/// The block crosses the picture in 200 frames.
std::unique_ptr<FrameSource> MakeScene(const SceneOptions& options);

}  // namespace camsim
