// Any bytes as a picture: what the DC scanner reads from it is what libjpeg reads.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "motion/dcagreement.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static watchpost::test::DcComparison comparison;
  watchpost::MuteJpegMessages();
  const std::vector<unsigned char> picture(data, data + size);
  const auto agreement = comparison.Compare(picture.data(), static_cast<int>(size));
  if (agreement == watchpost::test::DcAgreement::kDiffers) std::abort();
  return 0;
}
