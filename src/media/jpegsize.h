// Size of a JPEG picture, from its header alone. Thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "base/export.h"

namespace watchpost {

struct PictureSize {
  std::uint16_t width;
  std::uint16_t height;
  bool operator==(const PictureSize&) const = default;
};

/// Walks the markers up to the frame header (ITU-T T.81, annex B). Nothing when the bytes are no
/// JPEG picture, end before that, or give a size of 0.
WATCHPOST_API std::optional<PictureSize> ReadJpegSize(const unsigned char* data, std::size_t size);

}  // namespace watchpost
