// The record of a motion detection, and the results of its functions (motion/md.h).
#pragma once

#include <cstdint>

/// Results of all MD_ functions.
enum MD_STATUS : int {
  MD_OK = 0,
  MD_ERR_PARAM = 2,  ///< an argument is null or out of range, no range is set, nothing to end
  MD_MOTION = 3,
  MD_NO_MOTION = 4,
  MD_ERR_INCOMPATIBLE = 5,  ///< different size, colours or sampling; more than three components
  MD_ERR_MEMORY = 6,
  MD_ERR_RANGE = 7,  ///< a range lies outside the picture
  MD_REFERENCE = 8,  ///< sequence: first picture, kept as reference; or ended
  MD_ERR_JPEG = 9,   ///< no JPEG picture, a broken one, or one of more than 192 MiB of coefficients
};

/// A detection range: first and last row and column of blocks, all inclusive. One unit is a DCT
/// block, 8 by 8 samples of the first component (luminance).
struct MD_RANGE {
  unsigned char top, left, right, bottom;
  MD_RANGE* next;
};

struct MD_WORKSPACE;

/// A detection. The memory is the caller's; MD_CreateDetection fills it, MD_FinishDetection frees
/// what it holds. To be changed through the functions only.
struct MD_DETECTION {
  std::uint8_t state;
  std::uint8_t sensitivity;  ///< 0 to 100
  std::uint8_t mask_dirty;
  std::uint8_t fast;
  std::uint16_t mask_rows;  ///< blocks, as of the last picture
  std::uint16_t mask_columns;
  std::uint32_t blocks_compared[3];  ///< by component, in the last comparison
  MD_RANGE* ranges;
  MD_WORKSPACE* workspace;
  unsigned char** mask;
};
