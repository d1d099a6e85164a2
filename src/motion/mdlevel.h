// The motion level: how the differences of two pictures' components become a number from 0 to 100,
// and what number is motion. Thread-safe.
#pragma once

#include <cstdint>

#include "base/export.h"

/// What a component counts for, by the number of components less one; and by what its difference is
/// divided. The second three are for fast mode.
extern WATCHPOST_API const unsigned char gMDCompWeighting[3][3];
extern WATCHPOST_API const unsigned char gMDCompSamplePerBlock[3];
extern WATCHPOST_API const unsigned char gMDCompDiff[3];
extern WATCHPOST_API const unsigned char gMDFCompWeighting[3][3];
extern WATCHPOST_API const unsigned char gMDFCompSamplePerBlock[3];
extern WATCHPOST_API const unsigned char gMDFCompDiff[3];

namespace watchpost {

/// What two pictures differ by in one component.
struct ComponentDifference {
  std::uint32_t sum;     ///< 8 times each difference of two coefficients above 2
  std::uint32_t blocks;  ///< how many were compared; 0 leaves the component out
};

struct MotionLevel {
  unsigned level;  ///< 0 to 100
  bool is_motion;  ///< it reaches 100 - sensitivity
};

/// The level of `components` (1 to 3) differences. `sensitivity` is 0 to 100.
MotionLevel LevelOf(const ComponentDifference* differences,
                    int components,
                    bool fast,
                    int sensitivity) noexcept;

}  // namespace watchpost
