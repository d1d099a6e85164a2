#include "media/avibuilder_internal.h"

#include <cstring>

#include "base/byteorder_internal.h"

namespace watchpost::avi {
namespace {

// Offsets from the start of the header block.
constexpr std::size_t kHeaderList = 0;
constexpr std::size_t kMainHeader = 12;
constexpr std::size_t kMicrosPerFrame = 20;
constexpr std::size_t kMaxBytesPerSecond = 24;
constexpr std::size_t kFlags = 32;
constexpr std::size_t kTotalFrames = 36;
constexpr std::size_t kStreams = 44;
constexpr std::size_t kWidth = 52;
constexpr std::size_t kHeight = 56;
constexpr std::size_t kStreamList = 76;
constexpr std::size_t kStreamHeader = 88;
constexpr std::size_t kStreamType = 96;
constexpr std::size_t kStreamHandler = 100;
constexpr std::size_t kScale = 116;
constexpr std::size_t kRate = 120;
constexpr std::size_t kLength = 128;
constexpr std::size_t kStreamFormat = 144;
constexpr std::size_t kBitmapSize = 152;
constexpr std::size_t kBitmapWidth = 156;
constexpr std::size_t kBitmapHeight = 160;
constexpr std::size_t kPlanes = 164;
constexpr std::size_t kBitCount = 166;
constexpr std::size_t kCompression = 168;
constexpr std::size_t kImageSize = 172;
constexpr std::size_t kOdmlList = 192;
constexpr std::size_t kOdmlHeader = 204;
constexpr std::size_t kOdmlFrames = 212;

constexpr std::uint32_t kBytesPerPixel = 3;

static_assert(kOdmlFrames + 4 == kHeaderSize);

}  // namespace

Header::Header() noexcept {
  PutList(kHeaderList, 208, "hdrl");
  PutChunk(kMainHeader, "avih", 56);
  Put(kMicrosPerFrame, 1);
  Put(kMaxBytesPerSecond, kTimeBase);
  Put(kFlags, AVIF_HASINDEX);
  Put(kStreams, 1);
  PutList(kStreamList, 132, "strl");
  PutChunk(kStreamHeader, "strh", 48);
  PutCode(kStreamType, "vids");
  PutCode(kStreamHandler, "MJPG");
  Put(kScale, 1);
  Put(kRate, kTimeBase);
  PutChunk(kStreamFormat, "strf", 40);
  Put(kBitmapSize, 40);
  StoreLe16(image_.data() + kPlanes, 1);
  StoreLe16(image_.data() + kBitCount, 8 * kBytesPerPixel);
  PutCode(kCompression, "MJPG");
  PutList(kOdmlList, 16, "odml");
  PutChunk(kOdmlHeader, "dmlh", 4);
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
  std::memcpy(image_.data() + offset, code, kCodeSize);
}

void Header::PutList(std::size_t offset, std::uint32_t size, const char* type) noexcept {
  PutChunk(offset, "LIST", size);
  PutCode(offset + 8, type);
}

void Header::PutChunk(std::size_t offset, const char* code, std::uint32_t size) noexcept {
  StoreChunkHead(image_.data() + offset, code, size);
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

FileStart BuildStart(const Header& header,
                     std::uint32_t riff_size,
                     std::uint32_t movi_size) noexcept {
  FileStart start{};
  StoreChunkHead(start.data(), "RIFF", riff_size);
  std::memcpy(start.data() + kRiffTypeAt, "AVI ", kCodeSize);
  std::memcpy(start.data() + kHeaderAt, header.Bytes().data(), kHeaderSize);
  StoreChunkHead(start.data() + kMoviListAt, "LIST", movi_size);
  std::memcpy(start.data() + kMoviCodeAt, "movi", kCodeSize);
  return start;
}

// What differs from file to file are numbers.
bool HasOurLayout(const FileStart& start) noexcept {
  const FileStart fresh = BuildStart(Header(), 0, 0);
  const auto same = [&](std::size_t from, std::size_t to) {
    return std::memcmp(start.data() + from, fresh.data() + from, to - from) == 0;
  };
  const auto same_in_header = [&](std::size_t from, std::size_t to) {
    return same(kHeaderAt + from, kHeaderAt + to);
  };
  return same(0, kRiffSizeAt) && same(kRiffTypeAt, kHeaderAt) &&
         same_in_header(kHeaderList, kMicrosPerFrame) &&
         same_in_header(kStreamList, kStreamHandler + kCodeSize) &&
         same_in_header(kStreamFormat, kBitmapWidth) && same_in_header(kOdmlList, kOdmlFrames) &&
         same(kMoviListAt, kMoviSizeAt) && same(kMoviCodeAt, kFramesAt);
}

void StoreChunkHead(unsigned char* to, const char* code, std::uint32_t size) noexcept {
  std::memcpy(to, code, kCodeSize);
  StoreLe32(to + kCodeSize, size);
}

void StoreIndexEntry(unsigned char* to, std::uint32_t offset, std::uint32_t size) noexcept {
  std::memcpy(to, kFrameCode, kCodeSize);
  StoreLe32(to + 4, kIndexFlags);
  StoreLe32(to + 8, offset);
  StoreLe32(to + 12, size);
}

std::uint32_t FramesOf(const unsigned char* header) noexcept {
  return LoadLe32(header + kTotalFrames);
}

PictureSize PictureSizeOf(const unsigned char* header) noexcept {
  return {static_cast<std::uint16_t>(LoadLe32(header + kWidth)),
          static_cast<std::uint16_t>(LoadLe32(header + kHeight))};
}

}  // namespace watchpost::avi
