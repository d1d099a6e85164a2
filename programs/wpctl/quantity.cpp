#include "quantity.h"

#include <array>
#include <cstdio>

namespace wpctl {

std::string Decimal(double value, int digits) {
  std::array<char, 400> text{};  // the largest double has 309 digits before the point
  (void)std::snprintf(text.data(), text.size(), "%.*f", digits, value);
  return text.data();
}

std::string InMiB(double bytes) {
  return Decimal(bytes / kMiB);
}

std::string SizeText(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

}  // namespace wpctl
