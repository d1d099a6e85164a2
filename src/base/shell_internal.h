// Words of shell commands.
#pragma once

#include <string>
#include <string_view>

namespace watchpost {

/// `text` as one word of a POSIX shell: as it stands when every character is plain, else in single
/// quotes.
inline std::string ShellWord(std::string_view text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+,:@%=";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string_view::npos)
    return std::string(text);
  std::string word = "'";
  for (const char c : text) {
    if (c == '\'') {
      word += "'\\''";
    } else {
      word += c;
    }
  }
  return word + "'";
}

}  // namespace watchpost
