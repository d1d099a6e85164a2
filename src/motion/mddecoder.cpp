#include "motion/mddecoder_internal.h"

#include <jerror.h>

#include <csetjmp>
#include <new>

#include "motion/mddetection.h"

namespace watchpost {
namespace {

// Enough for 24 megapixels with whole colour; a forged header must not get more.
constexpr std::uint64_t kMostCoefficientBytes = 192ULL << 20;
constexpr long kMostMemory = 224L << 20;
// A progressive picture may repeat itself for ever; an honest one has some tens of scans at most,
// of which each costs what its blocks do.
constexpr std::uint64_t kMostBlocksRead = 64 * (kMostCoefficientBytes / sizeof(JBLOCK));
constexpr int kMostScans = 4096;

// A copy of a row reads one cache line in two: waiting for memory would be most of the time.
constexpr JDIMENSION kAhead = 16;

void CopyRow(const JBLOCK* row, JDIMENSION columns, JCOEF* to) {
  for (JDIMENSION column = 0; column < columns; ++column) {
    __builtin_prefetch(row + column + kAhead);
    to[column] = row[column][0];
  }
}

// Runs a step whose errors jump back here. The step holds nothing that would want to be destroyed.
template <typename Step>
bool Guarded(MD_DECODER& decoder, Step step) noexcept {
  if (setjmp(decoder.errors.jump) != 0) return false;
  step();
  return true;
}

MD_SHAPE ShapeOf(const jpeg_decompress_struct& info) {
  MD_SHAPE shape{
      info.image_width, info.image_height, info.jpeg_color_space, info.num_components, {}};
  for (int i = 0; i < shape.count; ++i) {
    const jpeg_component_info& component = info.comp_info[i];
    shape.components[i] = {component.height_in_blocks,
                           component.width_in_blocks,
                           component.h_samp_factor,
                           component.v_samp_factor};
  }
  return shape;
}

std::uint64_t BlocksOf(const MD_SHAPE& shape) {
  std::uint64_t blocks = 0;
  for (int i = 0; i < shape.count; ++i)
    blocks += std::uint64_t{shape.components[i].rows} * shape.components[i].columns;
  return blocks;
}

void LimitScans(j_common_ptr info) {
  auto* const picture = reinterpret_cast<j_decompress_ptr>(info);
  const auto scans = static_cast<std::uint64_t>(picture->input_scan_number);
  if (scans > kMostScans || scans * BlocksOf(ShapeOf(*picture)) > kMostBlocksRead)
    ERREXIT(info, JERR_BAD_PROGRESSION);
}

// In this decoder, a component that is scaled to one sample a block has its AC coefficients parsed
// but not stored.
void StoreDcOnly(jpeg_decompress_struct& info) {
  for (int i = 0; i < info.num_components; ++i) info.comp_info[i].DCT_scaled_size = 1;
}

}  // namespace

bool CreateDecoder(MD_DECODER& decoder, DcScanner& scanner) noexcept {
  (void)SetJpegExit(&decoder.info, &decoder.errors);
  const bool created = Guarded(decoder, [&decoder] { jpeg_create_decompress(&decoder.info); });
  if (!created) return false;
  decoder.info.mem->max_memory_to_use = kMostMemory;
  decoder.progress.progress_monitor = LimitScans;
  decoder.info.progress = &decoder.progress;
  decoder.coefficients = nullptr;
  decoder.dc = nullptr;
  decoder.dc_room = 0;
  decoder.scanner = &scanner;
  decoder.open = 0;
  return true;
}

void DestroyDecoder(MD_DECODER& decoder) noexcept {
  jpeg_destroy_decompress(&decoder.info);
  delete[] decoder.dc;
}

bool ReadHeader(MD_DECODER& decoder, const unsigned char* picture, int size) noexcept {
  const bool read = Guarded(decoder, [&decoder, picture, size] {
    JpegMemSrc(&decoder.info, picture, size);
    (void)jpeg_read_header(&decoder.info, TRUE);  // without suspension there is one result
  });
  if (!read) return false;
  decoder.shape = ShapeOf(decoder.info);
  return BlocksOf(decoder.shape) * sizeof(JBLOCK) <= kMostCoefficientBytes;
}

bool MakeRoomForDc(MD_DECODER& decoder) noexcept {
  const auto blocks = static_cast<std::size_t>(BlocksOf(decoder.shape));
  if (decoder.dc_room >= blocks) return true;
  delete[] decoder.dc;
  decoder.dc = new (std::nothrow) JCOEF[blocks];
  decoder.dc_room = decoder.dc == nullptr ? 0 : blocks;
  return decoder.dc != nullptr;
}

int ReadCoefficients(MD_DECODER& decoder, bool fast) noexcept {
  if (fast && !MakeRoomForDc(decoder)) return MD_ERR_MEMORY;
  if (fast && decoder.scanner->Scan(decoder.info, decoder.dc)) {
    decoder.coefficients = nullptr;
    jpeg_abort_decompress(&decoder.info);
    return MD_OK;
  }
  const bool read = Guarded(decoder, [&decoder, fast] {
    if (fast) StoreDcOnly(decoder.info);
    decoder.coefficients = jpeg_read_coefficients(&decoder.info);
  });
  if (!read) return MD_ERR_JPEG;
  if (!fast) return MD_OK;
  const int status = CopyDc(decoder);
  if (status != MD_OK) return status;
  decoder.coefficients = nullptr;
  return Guarded(decoder, [&decoder] { (void)jpeg_finish_decompress(&decoder.info); })
             ? MD_OK
             : MD_ERR_JPEG;
}

int CopyDc(MD_DECODER& decoder) noexcept {
  const MD_SHAPE& shape = decoder.shape;
  if (!MakeRoomForDc(decoder)) return MD_ERR_MEMORY;
  const bool copied = Guarded(decoder, [&decoder, &shape] {
    JCOEF* to = decoder.dc;
    for (int i = 0; i < shape.count; ++i) {
      for (JDIMENSION row = 0; row < shape.components[i].rows; ++row) {
        JBLOCKARRAY blocks_of_row = decoder.info.mem->access_virt_barray(
            reinterpret_cast<j_common_ptr>(&decoder.info), decoder.coefficients[i], row, 1, FALSE);
        CopyRow(blocks_of_row[0], shape.components[i].columns, to);
        to += shape.components[i].columns;
      }
    }
  });
  return copied ? MD_OK : MD_ERR_JPEG;
}

bool FinishPicture(MD_DECODER& decoder) noexcept {
  if (decoder.open == 0) return true;
  decoder.open = 0;
  if (decoder.coefficients == nullptr) return true;  // fast mode finished it already
  decoder.coefficients = nullptr;
  return Guarded(decoder, [&decoder] { (void)jpeg_finish_decompress(&decoder.info); });
}

void AbortPicture(MD_DECODER& decoder) noexcept {
  decoder.open = 0;
  decoder.coefficients = nullptr;
  jpeg_abort_decompress(&decoder.info);
}

bool IsImageCompatible(const MD_SHAPE& a, const MD_SHAPE& b) noexcept {
  if (a.height != b.height || a.width != b.width || a.colours != b.colours || a.count != b.count)
    return false;
  for (int i = 0; i < a.count; ++i) {
    if (a.components[i].across != b.components[i].across ||
        a.components[i].down != b.components[i].down) {
      return false;
    }
  }
  return true;
}

}  // namespace watchpost
