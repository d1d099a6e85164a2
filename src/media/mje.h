// Writes a recording: an AVI file of Motion-JPEG frames (docs/avi-format.md), front to back, with
// its index in memory until it is finished. Single-writer: one thread uses a handle; an exclusive
// flock keeps other writers off the file from opening to finishing. Nothing is logged; outcomes are
// MJE_STATUS values.
#pragma once

#include <cstdint>
#include <span>

#include "base/export.h"

/// Results of the writer's operations.
enum MJE_STATUS : int {
  MJE_OK = 0,
  MJE_ERR_WRITE = 1,   ///< a write failed
  MJE_ERR_PARAM = 2,   ///< invalid argument or handle
  MJE_ERR_MEMORY = 3,  ///< out of memory
  MJE_ERR_OPEN = 4,    ///< the file cannot be opened or locked
  MJE_ERR_FULL = 5,    ///< the file would pass 2 GiB
};

struct MJE_STATE;
using MJE_HANDLE = MJE_STATE*;

extern "C" {

/// Creates the file at `path` (cut to 4,095 bytes, mode 0644), truncating an existing one, locks it
/// and writes a provisional header. `width` and `height` in pixels and `fps` in frames a second are
/// above 0; the finished header holds them. On success returns MJE_OK and stores a handle, which
/// MJE_FinishCompress frees. On failure `*handle` is null and the file, possibly truncated, stays.
WATCHPOST_NODISCARD WATCHPOST_API int MJE_CreateCompress(MJE_HANDLE* handle,
                                                         const char* path,
                                                         std::uint16_t width,
                                                         std::uint16_t height,
                                                         std::uint16_t fps) noexcept;

/// Appends one frame of `size` bytes, above 0, and pads it to a multiple of four. After any failure
/// the file is as it was before. Costs one system call, whatever the number of frames before.
WATCHPOST_NODISCARD WATCHPOST_API int MJE_WriteFrame(MJE_HANDLE* handle,
                                                     const unsigned char* data,
                                                     unsigned int size) noexcept;

/// Replaces what the finished header will say; all above 0.
WATCHPOST_NODISCARD WATCHPOST_API int MJE_SetAttribute(MJE_HANDLE* handle,
                                                       std::uint16_t width,
                                                       std::uint16_t height,
                                                       std::uint16_t fps) noexcept;

/// Appends the index, rewrites the header, unlocks and closes the file, frees the handle and sets
/// it to null. Returns MJE_OK (also for a handle that is null already), MJE_ERR_WRITE when a part
/// of that could not be written, or MJE_ERR_PARAM for a null pointer.
WATCHPOST_NODISCARD WATCHPOST_API int MJE_FinishCompress(MJE_HANDLE* handle) noexcept;

}  // extern "C"

namespace watchpost {

/// A frame's bytes, somebody else's.
struct FrameBytes {
  const unsigned char* data;
  std::uint32_t size;
};

/// MJE_WriteFrame for each in turn, in one system call: all are written, or none.
WATCHPOST_NODISCARD WATCHPOST_API int WriteFrames(MJE_HANDLE* handle,
                                                  std::span<const FrameBytes> frames) noexcept;

/// Bytes of the file so far, without the index that finishing adds; 0 for null.
WATCHPOST_API std::uint64_t WrittenBytes(MJE_HANDLE handle) noexcept;

/// Bytes that the file has once it is finished; 0 for null.
WATCHPOST_API std::uint64_t FinishedBytes(MJE_HANDLE handle) noexcept;

}  // namespace watchpost
