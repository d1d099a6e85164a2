// Two pictures, whatever their bytes, through every way of comparing them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "motion/md.h"

namespace {

constexpr std::size_t kHeader = 3;
constexpr unsigned kHighestLevel = 100;

void Check(int status, unsigned level) {
  if ((status == MD_MOTION || status == MD_NO_MOTION) && level > kHighestLevel) std::abort();
}

}  // namespace

// The first byte tells the mode and the range, the next two where the second picture begins.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kHeader) return 0;
  const std::size_t split = (std::size_t{data[1]} << 8U | data[2]) % (size - kHeader + 1);
  // Copies of their own size let the sanitizer see a read past the end.
  const std::vector<unsigned char> first(data + kHeader, data + kHeader + split);
  const std::vector<unsigned char> second(data + kHeader + split, data + size);
  const auto last = static_cast<unsigned char>(data[0] >> 4U);
  const std::array<unsigned char, 4> range{0, 0, last, last};
  MD_DETECTION detection{};
  if (MD_CreateDetection(&detection) != MD_OK) return 0;
  (void)MD_EnableFastMD(&detection, data[0] & 1);
  (void)MD_SetMDSensitivity(&detection, 50);
  (void)MD_SetDetectRange(&detection, range.data());
  unsigned level = 0;
  const auto first_size = static_cast<int>(first.size());
  const auto second_size = static_cast<int>(second.size());
  Check(MD_DetectMotion(&detection, first.data(), first_size, second.data(), second_size, &level),
        level);
  for (const auto* picture : {&first, &second, &first}) {
    Check(
        MD_DetectMotionSeq(&detection, picture->data(), static_cast<int>(picture->size()), &level),
        level);
    if ((data[0] & 2) != 0) (void)MD_EnableFastMD(&detection, detection.fast == 0 ? 1 : 0);
  }
  (void)MD_DetectMotionSeq(&detection, nullptr, 0, &level);
  (void)MD_FinishDetection(&detection);
  return 0;
}
