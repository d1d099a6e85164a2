// Longest texts of the records, in bytes.
#pragma once

#include <cstddef>
#include <string>

namespace watchpost {

constexpr std::size_t kLongestName = 256;
constexpr std::size_t kLongestHost = 256;
constexpr std::size_t kLongestFolder = 256;
constexpr std::size_t kLongestCredential = 128;
constexpr std::size_t kLongestMaker = 128;
constexpr std::size_t kLongestUrlPath = 512;
constexpr std::size_t kLongestAddress = 512;

/// Keeps the first `longest` bytes.
inline void CutText(std::string& text, std::size_t longest) noexcept {
  if (text.size() > longest) text.resize(longest);
}

}  // namespace watchpost
