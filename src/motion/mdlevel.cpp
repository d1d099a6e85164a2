#include "motion/mdlevel.h"

#include <algorithm>

const unsigned char gMDCompWeighting[3][3] = {{100, 0, 0}, {60, 40, 0}, {15, 50, 35}};
const unsigned char gMDCompSamplePerBlock[3] = {32, 8, 4};
const unsigned char gMDCompDiff[3] = {8, 4, 2};
const unsigned char gMDFCompWeighting[3][3] = {{100, 0, 0}, {60, 40, 0}, {30, 50, 20}};
const unsigned char gMDFCompSamplePerBlock[3] = {1, 1, 1};
const unsigned char gMDFCompDiff[3] = {32, 8, 4};

namespace watchpost {

// All in 32 bits, and the sum of the components in 8: both wrap, and that is part of the decision.
MotionLevel LevelOf(const ComponentDifference* differences,
                    int components,
                    bool fast,
                    int sensitivity) noexcept {
  constexpr int kHighestLevel = 100;
  const auto& weighting = fast ? gMDFCompWeighting : gMDCompWeighting;
  const auto& samples = fast ? gMDFCompSamplePerBlock : gMDCompSamplePerBlock;
  const auto& scale = fast ? gMDFCompDiff : gMDCompDiff;
  std::uint8_t sum = 0;
  for (int i = 0; i < components; ++i) {
    const std::uint32_t divisor = samples[i] * differences[i].blocks * scale[i];
    if (divisor == 0) continue;
    const std::uint32_t term = weighting[components - 1][i] * differences[i].sum / divisor;
    sum = static_cast<std::uint8_t>(sum + term);
  }
  return {std::min<unsigned>(sum, kHighestLevel), sum >= kHighestLevel - sensitivity};
}

}  // namespace watchpost
