// Size of a JPEG picture, from its header alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace wpd {

struct PictureSize {
  std::uint16_t width;
  std::uint16_t height;
  bool operator==(const PictureSize&) const = default;
};

/// Walks the markers up to the frame header (ITU-T T.81, annex B). Nothing when the bytes are no
/// JPEG picture, end before that, or tell a size of 0.
std::optional<PictureSize> ReadJpegSize(const unsigned char* data, std::size_t size);

}  // namespace wpd
