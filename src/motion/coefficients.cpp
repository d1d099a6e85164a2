// Compiled at -O3, see CMakeLists.txt: gcc vectorises these loops there, and not at -O2.

#include <cstdlib>

#include "motion/coefficients_internal.h"

namespace watchpost {
namespace {

constexpr int kLargestNoise = 2;
constexpr std::uint32_t kScale = 8;

[[gnu::always_inline]] inline std::uint32_t Sum(const std::int16_t* __restrict a,
                                                const std::int16_t* __restrict b,
                                                std::size_t count) {
  std::uint32_t sum = 0;
  for (std::size_t k = 0; k < count; ++k) {
    const auto difference = static_cast<std::int16_t>(b[k] - a[k]);
    const auto distance = static_cast<std::uint16_t>(difference < 0 ? -difference : difference);
    sum += distance > kLargestNoise ? distance : 0U;
  }
  return sum * kScale;
}

#if defined(__x86_64__) || defined(__i386__)
[[gnu::target("avx2")]] std::uint32_t SumAvx2(const std::int16_t* a,
                                              const std::int16_t* b,
                                              std::size_t count) {
  return Sum(a, b, count);
}

const bool kHasAvx2 = __builtin_cpu_supports("avx2") != 0;
#endif

}  // namespace

std::uint32_t SumOfDifferences(const std::int16_t* a,
                               const std::int16_t* b,
                               std::size_t count) noexcept {
#if defined(__x86_64__) || defined(__i386__)
  if (kHasAvx2) return SumAvx2(a, b, count);
#endif
  return Sum(a, b, count);
}

}  // namespace watchpost
