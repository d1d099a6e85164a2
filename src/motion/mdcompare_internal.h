// Comparing the coefficients of two pictures.
#pragma once

#include "motion/mddecoder_internal.h"
#include "motion/mddetection.h"
#include "motion/mdmask_internal.h"

namespace watchpost {

/// Compares the coefficients of two compatible pictures. MD_MOTION, MD_NO_MOTION;
/// MD_ERR_INCOMPATIBLE for more than three components; MD_ERR_JPEG, MD_ERR_MEMORY.
int Compare(MD_DETECTION& detection,
            const MD_AREA (&areas)[3],
            MD_DECODER& first,
            MD_DECODER& second,
            unsigned* level) noexcept;

}  // namespace watchpost
