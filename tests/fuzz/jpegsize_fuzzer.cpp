// Any bytes as a frame's header.

#include <cstddef>
#include <cstdint>

#include "wpd/jpegsize.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  (void)wpd::ReadJpegSize(data, size);
  return 0;
}
