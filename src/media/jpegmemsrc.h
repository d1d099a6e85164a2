// JPEG pictures from memory for libjpeg (API version 62), and errors that come back instead of
// ending the process.
#pragma once

#include <csetjmp>
#include <cstdio>  // jpeglib.h needs it before itself

#include <jpeglib.h>

#include "base/export.h"

/// libjpeg's error manager with a way back: `jump` is set with setjmp before any call of libjpeg's.
struct JPEG_JUMP_ERROR_MGR {
  jpeg_error_mgr pub;
  std::jmp_buf jump;
};

/// Makes `cinfo` read the picture of `size` bytes at `buffer`, which stays valid until the
/// decompressor has finished or was aborted. The source belongs to the decompressor and is used
/// again by later calls. A picture that ends too early is offered again from its start, a few
/// times, and then is an error. Call it between jpeg_create_decompress and jpeg_read_header.
WATCHPOST_API void JpegMemSrc(j_decompress_ptr cinfo, const unsigned char* buffer, int size);

/// Keeps libjpeg's messages of this process to itself, for programs whose cameras send damaged
/// frames all the time; at first they go where libjpeg prints them. Thread-safe.
namespace watchpost {
WATCHPOST_API void MuteJpegMessages() noexcept;
}

/// Makes a fatal error of `cinfo` print libjpeg's message and jump to `manager->jump` with the
/// value
/// 1. Call it before jpeg_create_decompress. Returns `manager`, which outlives the decompressor.
WATCHPOST_API JPEG_JUMP_ERROR_MGR* SetJpegExit(j_decompress_ptr cinfo,
                                               JPEG_JUMP_ERROR_MGR* manager) noexcept;
