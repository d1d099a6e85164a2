#include "base/utils.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "base/uniquefd.h"

namespace {

constexpr char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int kBytesPerMB = 1 << 20;

}  // namespace

std::string itos(long long value) noexcept {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << value;
  return text.str();
}

char* HttpBase64Encode(const char* text) noexcept {
  if (text == nullptr) return nullptr;
  std::size_t left = std::strlen(text);
  auto* encoded = static_cast<char*>(std::malloc((left + 2) / 3 * 4 + 1));
  if (encoded == nullptr) return nullptr;
  char* out = encoded;
  const auto* in = reinterpret_cast<const unsigned char*>(text);
  for (; left > 2; left -= 3, in += 3) {
    const unsigned group = static_cast<unsigned>(in[0] << 16 | in[1] << 8 | in[2]);
    for (int shift = 18; shift >= 0; shift -= 6) *out++ = kBase64Alphabet[group >> shift & 63];
  }
  if (left > 0) {
    const unsigned group = static_cast<unsigned>(in[0] << 16 | (left > 1 ? in[1] << 8 : 0));
    *out++ = kBase64Alphabet[group >> 18 & 63];
    *out++ = kBase64Alphabet[group >> 12 & 63];
    *out++ = left > 1 ? kBase64Alphabet[group >> 6 & 63] : '=';
    *out++ = '=';
  }
  *out = '\0';
  return encoded;
}

int IsFileLocked(const char* path) noexcept {
  if (path == nullptr) return 0;
  // Not waiting at open keeps a FIFO of that name from holding the caller up.
  const watchpost::UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd.IsValid()) return 0;
  return flock(fd.Get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK ? 1 : 0;
}

int TimevalDiff(const timeval& from, const timeval& to) noexcept {
  const auto seconds = static_cast<std::uint32_t>(to.tv_sec - from.tv_sec);
  const auto micros = static_cast<std::uint32_t>(to.tv_usec - from.tv_usec);
  return static_cast<int>(seconds * 1000000U + micros);
}

int DayToSecond(int days) noexcept {
  return static_cast<int>(static_cast<std::uint32_t>(days) * 86400U);
}

double TransformFromByteToMB(unsigned long long bytes) noexcept {
  return static_cast<std::int32_t>(bytes >> 20) +
         static_cast<double>(bytes & 0xFFFFF) / kBytesPerMB;
}

double TransByteToMB(long long bytes) noexcept {
  const long long whole = bytes / kBytesPerMB;
  return static_cast<double>(whole) + static_cast<double>(bytes % kBytesPerMB) / kBytesPerMB;
}
