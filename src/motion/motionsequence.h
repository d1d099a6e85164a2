// The motion of one camera, frame by frame, whatever becomes of its frames. One thread at
// a time uses an object.
#pragma once

#include <memory>
#include <vector>

#include "base/export.h"
#include "base/pixelregion.h"
#include "motion/md.h"

namespace watchpost {

/// What one frame showed.
struct MotionResult {
  int level;      ///< 0 to 100; 0 where nothing could be compared
  bool motion;    ///< the level reaches 100 - sensitivity
  bool outside;   ///< none of the regions lies in its picture
  bool broken;    ///< the frame cannot be judged: its JPEG is damaged
  bool clipped;   ///< a part of the picture lies beyond what can be watched
  bool compared;  ///< false for a first frame, one of another size than the one before, a broken
                  ///< one
};

/// Keeps an MD_DETECTION over a camera's frames: turns regions into ranges of blocks, begins
/// again when they change their size, and lets broken ones pass. Only what lies in the
/// first 256 rows and columns of blocks can be watched (2048 pixels).
class WATCHPOST_API MotionSequence {
 public:
  /// What recorders use, and whoever shows what they do: fast mode distinguishes people from
  /// nothing as well as normal mode does, at less cost (docs/motion.md).
  static constexpr bool kUsuallyFast = true;

  /// Pixels across and down that can be watched.
  static constexpr int kWatchedPixels = 2048;

  /// What MotionResult::clipped means to people.
  static constexpr const char* kClippedText =
      "its picture is larger than 2048 pixels; motion is found in the first 2048 across and down "
      "only";

  /// No region means the whole picture. `sensitivity` is 0 to 100.
  MotionSequence(std::vector<PixelRegion> regions, int sensitivity, bool fast);
  ~MotionSequence();
  MotionSequence(const MotionSequence&) = delete;
  MotionSequence& operator=(const MotionSequence&) = delete;

  /// Compares the frame with the one before.
  MotionResult Compare(const unsigned char* frame, int size);

  /// The next frame is a first one.
  void Begin();

 private:
  int Detect(const unsigned char* frame, int size, unsigned& level);
  bool Fit();

  const std::vector<PixelRegion> regions_;
  MD_DETECTION detection_{};
  bool fitted_ = false;                   // the ranges are those of the regions
  std::vector<unsigned char> completed_;  // a frame whose end marker was missing
};

}  // namespace watchpost
