#include "media/jpegcheck.h"

#include <csetjmp>
#include <vector>

#include "media/jpegmemsrc.h"

namespace watchpost {
namespace {

constexpr long kMostMemory = 160L << 20;

void StaySilent(j_common_ptr /*info*/) {}

}  // namespace

bool HasJpegEnd(const unsigned char* data, std::size_t size) noexcept {
  while (size > 0 && data[size - 1] == 0) --size;
  return size >= 2 && data[size - 2] == 0xFF && data[size - 1] == 0xD9;
}

bool IsWholeJpeg(const unsigned char* data, std::size_t size) noexcept {
  // With an end marker of its own, so that only what is missing before it counts.
  std::vector<unsigned char> picture(data, data + size);
  if (!HasJpegEnd(data, size)) picture.insert(picture.end(), {0xFF, 0xD9});
  jpeg_decompress_struct info{};
  JPEG_JUMP_ERROR_MGR errors{};
  (void)SetJpegExit(&info, &errors);  // `errors`
  errors.pub.output_message = StaySilent;
  jpeg_create_decompress(&info);
  volatile bool whole = false;
  if (setjmp(errors.jump) == 0) {
    info.mem->max_memory_to_use = kMostMemory;
    JpegMemSrc(&info, picture.data(), static_cast<int>(picture.size()));
    (void)jpeg_read_header(&info, TRUE);  // an error jumps
    (void)jpeg_read_coefficients(&info);  // likewise
    whole = errors.pub.num_warnings == 0;
  }
  jpeg_destroy_decompress(&info);
  return whole;
}

}  // namespace watchpost
