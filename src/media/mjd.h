// Reading recordings frame by frame: the JPEG bytes of each, in order or by number. One
// thread at a time uses a handle. Nothing is decoded and nothing is logged.
#pragma once

#include <cstdint>

#include "base/export.h"

/// Results of the reader's functions.
enum MJD_STATUS : int {
  MJD_OK = 0,
  MJD_ERR_READ = 1,    ///< the file cannot be opened, or the frame cannot be read
  MJD_ERR_PARAM = 2,   ///< invalid argument, or no such frame
  MJD_ERR_MEMORY = 3,  ///< out of memory
  MJD_ERR_SMALL = 4,   ///< the caller's buffer is shorter than the frame
  MJD_ERR_CLOSED = 5,  ///< the handle is not open
  MJD_ERR_END = 6,     ///< there are no more frames
};

struct MJD_STATE;
using MJD_HANDLE = MJD_STATE*;

/// What a file says of its frames.
struct MJD_ATTRIBUTE {
  std::uint8_t fps;  ///< frames a second, whole
  std::uint16_t width;
  std::uint16_t height;
  std::uint32_t frame_count;
};

extern "C" {

/// Opens a recording, or any local file with a Motion-JPEG stream that libavformat reads; the first
/// such stream counts; libavformat is loaded at the first call, and without it no file opens. On
/// success stores a handle, which MJD_FinishDecompress frees. Returns MJD_OK, MJD_ERR_PARAM for a
/// null argument, MJD_ERR_READ, MJD_ERR_MEMORY. A file whose writer never finished shows one frame:
/// repair it first (avirepair.h).
WATCHPOST_NODISCARD WATCHPOST_API int MJD_CreateDecompress(MJD_HANDLE* handle,
                                                           const char* path) noexcept;

/// Closes the file and frees the handle. Returns MJD_OK, MJD_ERR_PARAM for null, MJD_ERR_CLOSED.
WATCHPOST_API int MJD_FinishDecompress(MJD_HANDLE handle) noexcept;

/// Returns MJD_OK, MJD_ERR_PARAM for a null argument, MJD_ERR_CLOSED.
WATCHPOST_API int MJD_GetAttribute(MJD_HANDLE handle, MJD_ATTRIBUTE* attributes) noexcept;

/// Copies the next frame into `buffer`. `*size` is the room in it, in bytes, and becomes the
/// frame's length. Returns MJD_OK; MJD_ERR_PARAM for a null argument or no room at all; MJD_ERR_END
/// behind the last frame; MJD_ERR_SMALL with `*size` 0; MJD_ERR_READ. After a failure the same
/// frame is next. A frame is never handed out under another one's number: a damaged file's reads
/// fail.
WATCHPOST_NODISCARD WATCHPOST_API int MJD_ReadNextFrame(MJD_HANDLE handle,
                                                        unsigned char* buffer,
                                                        unsigned* size) noexcept;

/// The same for frame `index`, counted from 0; the one behind it is next then. MJD_ERR_PARAM also
/// for an index that is not below the number of frames.
WATCHPOST_NODISCARD WATCHPOST_API int MJD_ReadRandomFrame(MJD_HANDLE handle,
                                                          unsigned index,
                                                          unsigned char* buffer,
                                                          unsigned* size) noexcept;

}  // extern "C"
