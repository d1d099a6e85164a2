// Builds the parts of a recording's file in file byte order, for whoever writes one from its first
// frame or finishes one that another writer left.
#pragma once

#include <array>
#include <cstdint>

#include "media/aviformat_internal.h"
#include "media/jpegsize.h"

namespace watchpost::avi {

/// What a finished header says.
struct HeaderValues {
  std::uint32_t frames = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t micros_per_frame = 0;
  std::uint64_t data_bytes = 0;  ///< padded sizes of all frames
};

class Header {
 public:
  using Image = std::array<unsigned char, kHeaderSize>;

  /// The provisional values of a file that is being written: one frame of one pixel a microsecond.
  Header() noexcept;

  /// The values of a finished file.
  void Update(const HeaderValues& values) noexcept;

  [[nodiscard]] const Image& Bytes() const noexcept { return image_; }

 private:
  void Put(std::size_t offset, std::uint32_t value) noexcept;
  void PutCode(std::size_t offset, const char* code) noexcept;
  void PutList(std::size_t offset, std::uint32_t size, const char* type) noexcept;
  void PutChunk(std::size_t offset, const char* code, std::uint32_t size) noexcept;
  void PutFrames(std::uint32_t frames) noexcept;
  void PutPictureSize(std::uint32_t width, std::uint32_t height) noexcept;

  Image image_{};
};

/// The frames of a file so far. Positions and sizes in the file follow from these two numbers.
struct FrameTotals {
  std::uint32_t frames = 0;
  std::uint64_t data_bytes = 0;  ///< padded sizes of all frames

  /// Counts one frame of `padded` bytes.
  void Add(std::uint64_t padded) noexcept {
    ++frames;
    data_bytes += padded;
  }

  /// Where the next chunk begins.
  [[nodiscard]] std::uint64_t End() const noexcept {
    return kFramesAt + kChunkHeaderSize * frames + data_bytes;
  }
  [[nodiscard]] std::uint32_t MoviSize() const noexcept {
    return static_cast<std::uint32_t>(End() - kMoviCodeAt);
  }
  [[nodiscard]] std::uint32_t RiffSize() const noexcept {
    return static_cast<std::uint32_t>(End() + IndexSize());
  }
  [[nodiscard]] std::uint32_t IndexSize() const noexcept {
    return static_cast<std::uint32_t>(kIndexEntrySize * frames);
  }

  /// Whether the file stays below its limit with another frame of `padded` bytes.
  [[nodiscard]] bool HasRoomFor(std::uint64_t padded) const noexcept {
    return data_bytes + padded + (kChunkHeaderSize + kIndexEntrySize) * frames + kReserve <=
           kLargestFile;
  }
};

/// Everything in front of the first frame.
using FileStart = std::array<unsigned char, kFramesAt>;
[[nodiscard]] FileStart BuildStart(const Header& header,
                                   std::uint32_t riff_size,
                                   std::uint32_t movi_size) noexcept;

/// Whether a file begins as BuildStart makes it, whatever numbers its header holds.
[[nodiscard]] bool HasOurLayout(const FileStart& start) noexcept;

/// The head of a chunk, kChunkHeaderSize bytes.
void StoreChunkHead(unsigned char* to, const char* code, std::uint32_t size) noexcept;

/// One entry of the index, kIndexEntrySize bytes: a frame's padded size, and the offset of its
/// chunk from the "movi" code.
void StoreIndexEntry(unsigned char* to, std::uint32_t offset, std::uint32_t size) noexcept;

/// What the header block at `header` says.
[[nodiscard]] std::uint32_t FramesOf(const unsigned char* header) noexcept;
[[nodiscard]] PictureSize PictureSizeOf(const unsigned char* header) noexcept;

}  // namespace watchpost::avi
