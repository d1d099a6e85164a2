// Motion between JPEG pictures, told from their quantised DCT coefficients: no pixel is decoded.
// Reentrant. Nothing is logged, every outcome is a code.
#pragma once

#include <cstdint>

#include "platform/export.h"

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
  MD_ERR_JPEG = 9,   ///< no JPEG picture, a broken one, or one of more than 128 MiB of coefficients
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

/// Tables of the level: what a component counts for, by the number of components less one; and by
/// what its difference is divided. The second three are for fast mode.
extern WATCHPOST_API const unsigned char gMDCompWeighting[3][3];
extern WATCHPOST_API const unsigned char gMDCompSamplePerBlock[3];
extern WATCHPOST_API const unsigned char gMDCompDiff[3];
extern WATCHPOST_API const unsigned char gMDFCompWeighting[3][3];
extern WATCHPOST_API const unsigned char gMDFCompSamplePerBlock[3];
extern WATCHPOST_API const unsigned char gMDFCompDiff[3];

extern "C" {

/// Prepares a detection without ranges, with sensitivity 0, in normal mode. Returns MD_OK,
/// MD_ERR_PARAM or MD_ERR_MEMORY.
WATCHPOST_NODISCARD WATCHPOST_API int MD_CreateDetection(MD_DETECTION* detection) noexcept;

/// Frees everything. May be called again. Returns MD_OK or MD_ERR_PARAM.
WATCHPOST_API int MD_FinishDetection(MD_DETECTION* detection) noexcept;

/// Adds a range {top, left, right, bottom}; one that is there already is not added again. Whether
/// it lies in the picture shows at the next detection. Returns MD_OK, MD_ERR_PARAM (null, top >
/// bottom, left > right) or MD_ERR_MEMORY.
WATCHPOST_API int MD_SetDetectRange(MD_DETECTION* detection, const unsigned char range[4]) noexcept;

/// Removes a range; one that is not there is no error. Returns MD_OK or MD_ERR_PARAM.
WATCHPOST_API int MD_RemoveDetectRange(MD_DETECTION* detection,
                                       const unsigned char range[4]) noexcept;

/// Sets the sensitivity: a level of 100 - sensitivity or more is motion. The low 8 bits count.
/// Returns MD_OK; MD_ERR_PARAM for null or above 100.
WATCHPOST_API int MD_SetMDSensitivity(MD_DETECTION* detection, int sensitivity) noexcept;

/// Fast mode compares one coefficient of 64, the mean of each block. Returns MD_OK or MD_ERR_PARAM.
WATCHPOST_API int MD_EnableFastMD(MD_DETECTION* detection, int enable) noexcept;

/// Compares two pictures. `level` receives 0 to 100 with MD_MOTION and MD_NO_MOTION. Both pictures
/// are used during the call only.
WATCHPOST_NODISCARD WATCHPOST_API int MD_DetectMotion(MD_DETECTION* detection,
                                                      const unsigned char* picture1,
                                                      int size1,
                                                      const unsigned char* picture2,
                                                      int size2,
                                                      unsigned* level) noexcept;

/// Compares each picture with the one before. The first gives MD_REFERENCE. A picture that is
/// broken or incompatible leaves the reference as it was: end the sequence to go on with another
/// size. A null picture ends the sequence: MD_REFERENCE, or MD_ERR_PARAM when there is none.
WATCHPOST_NODISCARD WATCHPOST_API int MD_DetectMotionSeq(MD_DETECTION* detection,
                                                         const unsigned char* picture,
                                                         int size,
                                                         unsigned* level) noexcept;

}  // extern "C"
