// Motion between JPEG pictures, found in their quantised DCT coefficients: no pixel is decoded.
// Nothing is logged, every outcome is a code.
#pragma once

#include "base/export.h"
#include "motion/mddetection.h"
#include "motion/mdlevel.h"

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
