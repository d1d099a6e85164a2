// Numbers of file formats, whatever the host's byte order.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

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

inline std::uint64_t LoadBe64(const unsigned char* from) noexcept {
  std::uint64_t value = 0;
  std::memcpy(&value, from, sizeof value);
  if constexpr (std::endian::native == std::endian::little) value = __builtin_bswap64(value);
  return value;
}

}  // namespace watchpost
