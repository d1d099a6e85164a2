#include "media/jpegsize.h"

namespace watchpost {
namespace {

constexpr unsigned char kMarker = 0xFF;
constexpr unsigned char kStartOfImage = 0xD8;
constexpr unsigned char kStartOfScan = 0xDA;

std::uint16_t LoadBe16(const unsigned char* from) {
  return static_cast<std::uint16_t>(from[0] << 8 | from[1]);
}

// SOF0 to SOF15, less the three codes between them that mean other things.
bool IsFrameHeader(unsigned char code) {
  return code >= 0xC0 && code <= 0xCF && code != 0xC4 && code != 0xC8 && code != 0xCC;
}

bool StandsAlone(unsigned char code) {
  return code == 0x01 || (code >= 0xD0 && code <= 0xD7);
}

}  // namespace

std::optional<PictureSize> ReadJpegSize(const unsigned char* data, std::size_t size) {
  if (size < 4 || data[0] != kMarker || data[1] != kStartOfImage) return std::nullopt;
  std::size_t at = 2;
  while (at + 4 <= size && data[at] == kMarker) {
    const unsigned char code = data[at + 1];
    if (code == kMarker) {  // fill byte
      ++at;
      continue;
    }
    if (StandsAlone(code)) {
      at += 2;
      continue;
    }
    if (code == kStartOfScan) return std::nullopt;
    if (IsFrameHeader(code)) {
      if (at + 9 > size) return std::nullopt;
      const PictureSize found{LoadBe16(data + at + 7), LoadBe16(data + at + 5)};
      if (found.width == 0 || found.height == 0) return std::nullopt;
      return found;
    }
    at += 2U + LoadBe16(data + at + 2);
  }
  return std::nullopt;
}

}  // namespace watchpost
