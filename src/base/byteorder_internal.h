// Little-endian numbers of file formats, whatever the host's byte order.
#pragma once

#include <cstdint>

namespace watchpost {

inline void StoreLe16(unsigned char* to, std::uint16_t value) noexcept {
  to[0] = static_cast<unsigned char>(value);
  to[1] = static_cast<unsigned char>(value >> 8);
}

inline void StoreLe32(unsigned char* to, std::uint32_t value) noexcept {
  StoreLe16(to, static_cast<std::uint16_t>(value));
  StoreLe16(to + 2, static_cast<std::uint16_t>(value >> 16));
}

inline std::uint32_t LoadLe32(const unsigned char* from) noexcept {
  return static_cast<std::uint32_t>(from[0]) | static_cast<std::uint32_t>(from[1]) << 8 |
         static_cast<std::uint32_t>(from[2]) << 16 | static_cast<std::uint32_t>(from[3]) << 24;
}

}  // namespace watchpost
