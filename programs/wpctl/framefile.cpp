#include "framefile.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>

#include "timetext.h"

namespace wpctl {

std::string FrameFileName(const Camera& camera, const timeval& when) {
  std::string name = camera.GetName();
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return c == '/' || c < ' '; }, '_');
  std::array<char, 16> fraction{};
  (void)std::snprintf(
      fraction.data(), fraction.size(), ".%03d.jpg", static_cast<int>(when.tv_usec / 1000));
  return name + FormatTime(when.tv_sec, "-%Y%m%d-%H%M%S") + fraction.data();
}

bool WriteFrame(const std::string& path,
                const unsigned char* data,
                std::size_t size,
                std::string& error) {
  bool written = false;
  if (path == "-") {
    written = std::fwrite(data, 1, size, stdout) == size && std::fflush(stdout) == 0;
  } else {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    file.close();
    written = file.good();
  }
  if (!written)
    error = "cannot write " + (path == "-" ? "the frame" : path) + ": " + strerror(errno);
  return written;
}

}  // namespace wpctl
