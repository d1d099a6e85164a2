// The detection area: which blocks of each component count.
#pragma once

#include <cstddef>
#include <cstdint>

#include "motion/mddecoder_internal.h"
#include "motion/mddetection.h"

/// Blocks of one row that lie side by side in the detection area.
struct MD_RUN {
  std::uint32_t row, begin, end;  ///< blocks `begin` to `end` - 1
};

/// The detection area in blocks of one component, and what it was made for.
struct MD_AREA {
  MD_RUN* runs;  ///< owned
  std::size_t count;
  std::uint32_t rows, columns;  ///< of the component
  std::uint32_t cell_rows,
      cell_columns;  ///< mask cells that a block covers; 0 for larger components
};

namespace watchpost {

/// Makes the detection's mask, and the areas that follow from it, fit a picture whose header was
/// read. MD_OK, MD_ERR_MEMORY, MD_ERR_RANGE.
int UpdateMask(MD_DETECTION& detection, MD_AREA (&areas)[3], const MD_SHAPE& picture) noexcept;
void FreeMask(MD_DETECTION& detection) noexcept;
void FreeAreas(MD_AREA (&areas)[3]) noexcept;

}  // namespace watchpost
