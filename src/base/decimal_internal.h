// Decimal texts of foreign origin.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace watchpost {

/// Reads a number as atoi does, 0 when there is none, but one out of range becomes the nearest that
/// fits.
inline int DecimalToInt(const char* text) noexcept {
  constexpr long kLowest = std::numeric_limits<int>::min();
  constexpr long kHighest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(std::strtol(text, nullptr, 10), kLowest, kHighest));
}

}  // namespace watchpost
