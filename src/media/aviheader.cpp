#include <cstring>

#include "foundation/byteorder.h"
#include "media/aviheader_internal.h"

namespace watchpost::avi {
namespace {

// Offsets from the start of the header block.
constexpr std::size_t kMicrosPerFrame = 20;
constexpr std::size_t kMaxBytesPerSecond = 24;
constexpr std::size_t kFlags = 32;
constexpr std::size_t kTotalFrames = 36;
constexpr std::size_t kStreams = 44;
constexpr std::size_t kWidth = 52;
constexpr std::size_t kHeight = 56;
constexpr std::size_t kStreamType = 96;
constexpr std::size_t kStreamHandler = 100;
constexpr std::size_t kScale = 116;
constexpr std::size_t kRate = 120;
constexpr std::size_t kLength = 128;
constexpr std::size_t kBitmapSize = 152;
constexpr std::size_t kBitmapWidth = 156;
constexpr std::size_t kBitmapHeight = 160;
constexpr std::size_t kPlanes = 164;
constexpr std::size_t kBitCount = 166;
constexpr std::size_t kCompression = 168;
constexpr std::size_t kImageSize = 172;
constexpr std::size_t kOdmlFrames = 212;

constexpr std::uint32_t kBytesPerPixel = 3;

static_assert(kOdmlFrames + 4 == kHeaderSize);

}  // namespace

Header::Header() noexcept {
  PutList(0, 208, "hdrl");
  PutChunk(12, "avih", 56);
  Put(kMicrosPerFrame, 1);
  Put(kMaxBytesPerSecond, kTimeBase);
  Put(kFlags, AVIF_HASINDEX);
  Put(kStreams, 1);
  PutList(76, 132, "strl");
  PutChunk(88, "strh", 48);
  PutCode(kStreamType, "vids");
  PutCode(kStreamHandler, "MJPG");
  Put(kScale, 1);
  Put(kRate, kTimeBase);
  PutChunk(144, "strf", 40);
  Put(kBitmapSize, 40);
  StoreLe16(image_.data() + kPlanes, 1);
  StoreLe16(image_.data() + kBitCount, 8 * kBytesPerPixel);
  PutCode(kCompression, "MJPG");
  PutList(192, 16, "odml");
  PutChunk(204, "dmlh", 4);
  PutFrames(1);
  PutPictureSize(1, 1);
}

void Header::Update(const HeaderValues& values) noexcept {
  Put(kMicrosPerFrame, values.micros_per_frame);
  Put(kScale, values.micros_per_frame);
  if (values.frames != 0 && values.micros_per_frame != 0) {
    // The mean frame is a 32-bit quotient; the rate keeps its low 32 bits.
    const auto mean = static_cast<std::uint32_t>(values.data_bytes / values.frames);
    Put(kMaxBytesPerSecond,
        static_cast<std::uint32_t>(std::uint64_t{mean} * kTimeBase / values.micros_per_frame));
  }
  PutFrames(values.frames);
  PutPictureSize(values.width, values.height);
}

void Header::Put(std::size_t offset, std::uint32_t value) noexcept {
  StoreLe32(image_.data() + offset, value);
}

void Header::PutCode(std::size_t offset, const char* code) noexcept {
  std::memcpy(image_.data() + offset, code, 4);
}

void Header::PutList(std::size_t offset, std::uint32_t size, const char* type) noexcept {
  PutChunk(offset, "LIST", size);
  PutCode(offset + 8, type);
}

void Header::PutChunk(std::size_t offset, const char* code, std::uint32_t size) noexcept {
  PutCode(offset, code);
  Put(offset + 4, size);
}

void Header::PutFrames(std::uint32_t frames) noexcept {
  Put(kTotalFrames, frames);
  Put(kLength, frames);
  Put(kOdmlFrames, frames);
}

void Header::PutPictureSize(std::uint32_t width, std::uint32_t height) noexcept {
  Put(kWidth, width);
  Put(kHeight, height);
  Put(kBitmapWidth, width);
  Put(kBitmapHeight, height);
  Put(kImageSize, width * height * kBytesPerPixel);
}

std::uint32_t FramesOf(const unsigned char* header) noexcept {
  return LoadLe32(header + kTotalFrames);
}

PictureSize PictureSizeOf(const unsigned char* header) noexcept {
  return {static_cast<std::uint16_t>(LoadLe32(header + kWidth)),
          static_cast<std::uint16_t>(LoadLe32(header + kHeight))};
}

}  // namespace watchpost::avi
