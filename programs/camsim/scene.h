// Drawn scenes, each picture with the truth about it in a comment.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "frames.h"
#include "lens.h"

namespace camsim {

enum class SceneKind {
  kBlock,   ///< a bright block crosses the picture in 200 frames; the frame's number is drawn
  kStill,   ///< nothing changes
  kNoise,   ///< the grain of a camera in bad light
  kLight,   ///< a light goes on every 10 s for 3 s; a little grain
  kPerson,  ///< a person walks through every 10 s for 3 s, 2 s after the start at first; a little
            ///< grain
};

inline const std::map<std::string, SceneKind> kSceneNames{{"block", SceneKind::kBlock},
                                                          {"still", SceneKind::kStill},
                                                          {"noise", SceneKind::kNoise},
                                                          {"light", SceneKind::kLight},
                                                          {"person", SceneKind::kPerson}};

struct SceneOptions {
  SceneKind kind = SceneKind::kBlock;
  double fps = 25;   ///< frames a second, above 0
  int width = 640;   ///< pixels, 16 to 8192
  int height = 480;  ///< pixels, 16 to 8192
  int quality = 75;  ///< of the JPEG encoder, 1 to 100
};

/// Whether something moves in picture `number` of a scene: a light is no motion. Each picture says
/// so in a JPEG comment, "frame NUMBER motion 0" or 1.
bool HasMotion(const SceneOptions& options, std::uint64_t number);

/// Without a lens it looks straight ahead.
std::unique_ptr<FrameSource> MakeScene(const SceneOptions& options,
                                       std::shared_ptr<const Lens> lens = nullptr);

}  // namespace camsim
