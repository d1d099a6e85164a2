#include "motion/mdcompare_internal.h"

#include <csetjmp>
#include <cstddef>
#include <cstdint>

#include "motion/coefficients_internal.h"
#include "motion/mdlevel.h"

namespace watchpost {
namespace {

constexpr int kMostComponents = 3;

// The coefficients of the blocks of a run.
const JCOEF* BlocksOf(MD_DECODER& decoder, int component, const MD_RUN& run) {
  return decoder.info.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&decoder.info),
                                              decoder.coefficients[component],
                                              run.row,
                                              1,
                                              FALSE)[0][run.begin];
}

// The first coefficients of all blocks of a component; null when they have not been copied.
const JCOEF* DcOf(const MD_DECODER& decoder, int component) {
  if (decoder.dc == nullptr) return nullptr;
  const JCOEF* dc = decoder.dc;
  for (int i = 0; i < component; ++i)
    dc += std::size_t{decoder.shape.components[i].rows} * decoder.shape.components[i].columns;
  return dc;
}

// Needs both recovery points set: reaching the blocks may fail.
std::uint32_t CalComponentMAE(MD_DETECTION& detection,
                              const MD_AREA& area,
                              MD_DECODER& first,
                              MD_DECODER& second,
                              int component) {
  const bool fast = detection.fast != 0 || second.coefficients == nullptr;
  const JCOEF* first_dc = DcOf(first, component);
  const JCOEF* second_dc = DcOf(second, component);
  std::uint32_t sum = 0;
  detection.blocks_compared[component] = 0;
  for (const MD_RUN* run = area.runs; run != area.runs + area.count; ++run) {
    const std::size_t at = std::size_t{run->row} * area.columns + run->begin;
    const std::uint32_t blocks = run->end - run->begin;
    detection.blocks_compared[component] += blocks;
    if (fast) {
      sum += SumOfDifferences(first_dc + at, second_dc + at, blocks);
    } else {
      sum += SumOfDifferences(BlocksOf(first, component, *run),
                              BlocksOf(second, component, *run),
                              std::size_t{blocks} * DCTSIZE2);
    }
  }
  return sum;
}

}  // namespace

int Compare(MD_DETECTION& detection,
            const MD_AREA (&areas)[3],
            MD_DECODER& first,
            MD_DECODER& second,
            unsigned* level) noexcept {
  const int components = second.shape.count;
  if (components > kMostComponents) return MD_ERR_INCOMPATIBLE;
  if (detection.fast != 0 && first.coefficients != nullptr) {  // read before the mode was changed
    if (const int status = CopyDc(first); status != MD_OK) return status;
  }
  if (setjmp(first.errors.jump) != 0 || setjmp(second.errors.jump) != 0) return MD_ERR_JPEG;
  ComponentDifference differences[kMostComponents] = {};
  for (int i = 0; i < components; ++i) {
    differences[i].sum = CalComponentMAE(detection, areas[i], first, second, i);
    differences[i].blocks = detection.blocks_compared[i];
  }
  const MotionLevel result =
      LevelOf(differences, components, detection.fast != 0, detection.sensitivity);
  *level = result.level;
  return result.is_motion ? MD_MOTION : MD_NO_MOTION;
}

}  // namespace watchpost
