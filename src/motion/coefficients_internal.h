// The inner loop of motion detection: how far two runs of DCT coefficients differ.
#pragma once

#include <cstddef>
#include <cstdint>

namespace watchpost {

/// Sum, modulo 2^32, of 8 times each difference |b[k] - a[k]| above 2, for k = 0 to count - 1.
/// Differences are taken in 16 bits. Uses AVX2 where the processor has it.
std::uint32_t SumOfDifferences(const std::int16_t* a,
                               const std::int16_t* b,
                               std::size_t count) noexcept;

}  // namespace watchpost
