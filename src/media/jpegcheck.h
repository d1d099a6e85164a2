// Whether a JPEG is whole, by reading it to its end. Thread-safe.
#pragma once

#include <cstddef>

#include "base/export.h"

namespace watchpost {

/// Whether the bytes end as a JPEG does: with its end marker, behind which there may be zeros.
/// Cheap.
WATCHPOST_API bool HasJpegEnd(const unsigned char* data, std::size_t size) noexcept;

/// Whether all of its coefficients can be read without libjpeg finding damage. A missing end marker
/// alone is none. Costs what decoding without pixels costs.
WATCHPOST_API bool IsWholeJpeg(const unsigned char* data, std::size_t size) noexcept;

}  // namespace watchpost
