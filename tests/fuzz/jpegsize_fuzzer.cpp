// Any bytes as a frame's header.

#include <cstddef>
#include <cstdint>

#include "media/jpegsize.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  (void)watchpost::ReadJpegSize(data, size);
  return 0;
}
