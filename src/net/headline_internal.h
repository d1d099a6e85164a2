// Lines of HTTP and multipart heads.
#pragma once

#include <cctype>
#include <string_view>

namespace watchpost {

inline bool StartsWith(std::string_view text, std::string_view start) {
  return text.starts_with(start);
}

inline void LowerCase(char* text) {
  for (; *text != '\0'; ++text)
    *text = static_cast<char>(std::tolower(static_cast<unsigned char>(*text)));
}

/// Whether a line in lower case announces a body in chunks (RFC 9112, section 7.1).
inline bool AnnouncesChunks(std::string_view line) {
  return line.starts_with("transfer-encoding") && line.find("chunked") != std::string_view::npos;
}

/// What becomes of a line that ends on a CR at the very end of the stream.
enum class MissingLineFeed { kFails, kCounts };

/// Reads one line into `buf` of `size` bytes and terminates it with NUL, in place of its end or,
/// when it fills the buffer, of its last byte. CR or LF ends a line; a CR takes the byte behind it
/// along, unseen. `read_byte` reads one byte to a pointer and returns 1, 0 at the end of the
/// stream, or -1. Returns the number of bytes read, or -1 when a read failed. The end of the stream
/// ends the line too.
template <typename ReadByte>
int ReadHeadLine(char* buf, int size, ReadByte read_byte, MissingLineFeed missing) {
  if (buf == nullptr || size < 1) return -1;
  for (int count = 0; count < size; ++count) {
    char byte = '\0';
    const int got = read_byte(&byte);
    if (got < 0) return -1;
    if (got > 0 && byte != '\r' && byte != '\n') {
      buf[count] = byte;
      continue;
    }
    buf[count] = '\0';
    if (got > 0 && byte == '\r') {
      const int swallowed = read_byte(&byte);
      if (swallowed < 0 || (swallowed == 0 && missing == MissingLineFeed::kFails)) return -1;
    }
    return count;
  }
  buf[size - 1] = '\0';
  return size;
}

}  // namespace watchpost
