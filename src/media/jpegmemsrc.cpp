#include "media/jpegmemsrc.h"

#include <jerror.h>

#include <algorithm>
#include <atomic>

namespace {

// A picture that ends inside its header makes libjpeg ask for more for ever.
constexpr int kMostRefills = 8;

struct MemorySource {
  jpeg_source_mgr pub;
  const unsigned char* buffer;
  int size;
  int fills;
};

void InitSource(j_decompress_ptr /*cinfo*/) {}

boolean FillInputBuffer(j_decompress_ptr cinfo) {
  auto* source = reinterpret_cast<MemorySource*>(cinfo->src);
  if (source->size <= 0 || source->fills++ > kMostRefills) ERREXIT(cinfo, JERR_INPUT_EOF);
  source->pub.next_input_byte = source->buffer;
  source->pub.bytes_in_buffer = static_cast<std::size_t>(source->size);
  return TRUE;
}

void SkipInputData(j_decompress_ptr cinfo, long count) {
  if (count <= 0) return;
  jpeg_source_mgr* source = cinfo->src;
  const std::size_t skipped = std::min(static_cast<std::size_t>(count), source->bytes_in_buffer);
  source->next_input_byte += skipped;
  source->bytes_in_buffer -= skipped;
}

std::atomic<bool> muted{false};

void StaySilent(j_common_ptr /*cinfo*/) {}

void TermSource(j_decompress_ptr /*cinfo*/) {}

[[noreturn]] void JumpExit(j_common_ptr cinfo) {
  cinfo->err->output_message(cinfo);
  std::longjmp(reinterpret_cast<JPEG_JUMP_ERROR_MGR*>(cinfo->err)->jump, 1);
}

}  // namespace

void JpegMemSrc(j_decompress_ptr cinfo, const unsigned char* buffer, int size) {
  if (cinfo->src == nullptr) {
    cinfo->src = static_cast<jpeg_source_mgr*>(cinfo->mem->alloc_small(
        reinterpret_cast<j_common_ptr>(cinfo), JPOOL_PERMANENT, sizeof(MemorySource)));
  }
  auto* source = reinterpret_cast<MemorySource*>(cinfo->src);
  source->pub.init_source = InitSource;
  source->pub.fill_input_buffer = FillInputBuffer;
  source->pub.skip_input_data = SkipInputData;
  source->pub.resync_to_restart = jpeg_resync_to_restart;
  source->pub.term_source = TermSource;
  source->pub.next_input_byte = nullptr;
  source->pub.bytes_in_buffer = 0;
  source->buffer = buffer;
  source->size = size;
  source->fills = 0;
}

JPEG_JUMP_ERROR_MGR* SetJpegExit(j_decompress_ptr cinfo, JPEG_JUMP_ERROR_MGR* manager) noexcept {
  cinfo->err = jpeg_std_error(&manager->pub);
  manager->pub.error_exit = JumpExit;
  if (muted) manager->pub.output_message = StaySilent;
  return manager;
}

void watchpost::MuteJpegMessages() noexcept {
  muted = true;
}
