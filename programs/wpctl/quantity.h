// Numbers and sizes as texts.
#pragma once

#include <string>

namespace wpctl {

inline constexpr double kKiB = 1 << 10;
inline constexpr double kMiB = 1 << 20;
inline constexpr double kGiB = 1 << 30;

/// With that many digits after the point.
std::string Decimal(double value, int digits = 1);

/// Bytes in MiB, such as "12.3".
std::string InMiB(double bytes);

/// "640x480", in pixels.
std::string SizeText(int width, int height);

}  // namespace wpctl
