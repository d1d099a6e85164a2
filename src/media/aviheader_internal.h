// The header block of a recording, kept in file byte order. Reentrant.
#pragma once

#include <array>
#include <cstdint>

#include "media/aviformat.h"
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

/// What the header block at `header` tells.
[[nodiscard]] std::uint32_t FramesOf(const unsigned char* header) noexcept;
[[nodiscard]] PictureSize PictureSizeOf(const unsigned char* header) noexcept;

}  // namespace watchpost::avi
