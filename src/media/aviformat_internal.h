// Layout of a recording: an AVI file with one stream of Motion-JPEG frames. The page
// docs/avi-format.md says the same in words. All numbers in the file are little-endian. Source:
// Microsoft's "AVI RIFF File Reference" and the OpenDML extensions to it, with two particulars of
// ours: the stream header chunk is 48 bytes long, without a frame rectangle, and the "odml" list
// lies inside the "strl" list.
#pragma once

#include <cstddef>
#include <cstdint>

namespace watchpost::avi {

/// Flags of the main header.
enum : std::uint32_t {
  AVIF_HASINDEX = 0x10,
  AVIF_MUSTUSEINDEX = 0x20,
  AVIF_ISINTERLEAVED = 0x100,
  AVIF_TRUSTCKTYPE = 0x800,
  AVIF_WASCAPTUREFILE = 0x10000,
  AVIF_COPYRIGHTED = 0x20000,
};

// Offsets from the start of the file.
constexpr std::size_t kRiffSizeAt = 4;
constexpr std::size_t kRiffTypeAt = 8;
constexpr std::size_t kHeaderAt = 12;  ///< header block
constexpr std::size_t kHeaderSize = 216;
constexpr std::size_t kMoviListAt = kHeaderAt + kHeaderSize;
constexpr std::size_t kMoviSizeAt = kMoviListAt + 4;
constexpr std::size_t kMoviCodeAt = kMoviListAt + 8;
constexpr std::size_t kFramesAt = kMoviListAt + 12;  ///< first frame chunk

constexpr std::size_t kCodeSize = 4;
constexpr std::size_t kChunkHeaderSize = 8;  ///< code and size
constexpr std::size_t kIndexEntrySize = 16;
constexpr std::size_t kFrameAlignment = 4;
constexpr std::size_t kEmptyTail = 8;  ///< behind the empty index of a file without a frame
constexpr std::uint32_t kIndexFlags = 0x12;
constexpr std::uint32_t kFirstFrameOffset = 4;  ///< of index entries, counted from the "movi" code
constexpr std::uint32_t kTimeBase = 1000000;    ///< stream rate: ticks a second
constexpr std::uint64_t kLargestFile = 1U << 31;  ///< bytes
// Kept below that limit beside frames and index entries: what stands in front of the first frame,
// and two bytes that recordings have always kept free.
constexpr std::uint64_t kReserve = kFramesAt + 2;

constexpr char kFrameCode[] = "00db";
constexpr char kIndexCode[] = "idx1";

/// A frame's size in the file: its bytes, and zeros up to a multiple of kFrameAlignment.
constexpr std::uint64_t PaddedSize(std::uint64_t bytes) {
  return (bytes + kFrameAlignment - 1) / kFrameAlignment * kFrameAlignment;
}

static_assert(kMoviListAt == 228 && kMoviSizeAt == 232 && kMoviCodeAt == 236 && kFramesAt == 240);

}  // namespace watchpost::avi
