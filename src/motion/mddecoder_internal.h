// A JPEG decompressor that hands out DCT coefficients, and the picture that it holds.
#pragma once

#include <cstddef>
#include <cstdint>

#include "media/jpegmemsrc.h"
#include "motion/dcscan_internal.h"

/// What of a picture's header decides whether others can be compared with it.
struct MD_SHAPE {
  struct Component {
    std::uint32_t rows, columns;  ///< in blocks
    int across, down;             ///< sampling factors
  };
  std::uint32_t width, height;
  int colours;
  int count;
  Component components[MAX_COMPONENTS];
};

/// A decompressor and the picture that it holds. What is read in fast mode is copied at once, 2
/// bytes of 128, and its memory given back: the next picture then finds that memory still in the
/// cache.
struct MD_DECODER {
  jpeg_decompress_struct info;
  JPEG_JUMP_ERROR_MGR errors;
  jpeg_progress_mgr progress;
  MD_SHAPE shape;
  jvirt_barray_ptr* coefficients;  ///< owned by `info`; null when there is only `dc`
  JCOEF* dc;                       ///< owned; the first coefficients, component by component
  std::size_t dc_room;             ///< coefficients that `dc` has room for
  watchpost::DcScanner* scanner;   ///< outlives the decoder
  std::uint8_t open;               ///< holds a picture that has not been finished
};

namespace watchpost {

/// Creates the decompressor; false when memory runs out.
bool CreateDecoder(MD_DECODER& decoder, DcScanner& scanner) noexcept;

/// Frees everything that it holds.
void DestroyDecoder(MD_DECODER& decoder) noexcept;

/// Attaches a picture and reads its header. False when it has none or asks for too much memory; the
/// decoder must then be aborted.
bool ReadHeader(MD_DECODER& decoder, const unsigned char* picture, int size) noexcept;

/// Reads all coefficients, or in fast mode the first of each block. MD_OK; MD_ERR_JPEG when the
/// picture is broken, or MD_ERR_MEMORY: the decoder must then be aborted.
int ReadCoefficients(MD_DECODER& decoder, bool fast) noexcept;

/// Room in `dc` for a picture whose header was read; false when memory runs out.
bool MakeRoomForDc(MD_DECODER& decoder) noexcept;

/// Makes the first coefficients of a picture that was read whole stand in `dc` as well. MD_OK,
/// MD_ERR_JPEG, MD_ERR_MEMORY.
int CopyDc(MD_DECODER& decoder) noexcept;

/// Finishes the picture that the decoder holds, if any. False when that failed; the decoder must
/// then be aborted.
bool FinishPicture(MD_DECODER& decoder) noexcept;

/// Gives up whatever picture the decoder is at.
void AbortPicture(MD_DECODER& decoder) noexcept;

/// Whether two pictures whose headers were read can be compared.
bool IsImageCompatible(const MD_SHAPE& a, const MD_SHAPE& b) noexcept;

}  // namespace watchpost
