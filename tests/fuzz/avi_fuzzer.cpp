// Any bytes as a recording: looked at, read, repaired, read again.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "media/avirepair.h"
#include "media/mjd.h"

namespace {

const std::string& Path() {
  static const std::string path = "/dev/shm/watchpost-avi-fuzzer-" + std::to_string(getpid());
  return path;
}

// Reads the first frames in order and a few at other places; returns how many there are.
std::uint32_t ReadSome() {
  MJD_HANDLE reader = nullptr;
  if (MJD_CreateDecompress(&reader, Path().c_str()) != MJD_OK) return 0;
  constexpr unsigned kMost = 16;
  std::vector<unsigned char> buffer(4096);
  MJD_ATTRIBUTE attribute{};
  (void)MJD_GetAttribute(reader, &attribute);
  for (unsigned i = 0; i < std::min(attribute.frame_count, kMost); ++i) {
    auto size = static_cast<unsigned>(buffer.size());
    (void)MJD_ReadNextFrame(reader, buffer.data(), &size);
    size = static_cast<unsigned>(buffer.size());
    (void)MJD_ReadRandomFrame(reader, attribute.frame_count - 1 - i, buffer.data(), &size);
  }
  (void)MJD_FinishDecompress(reader);
  return attribute.frame_count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const int fd = open(Path().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
  (void)close(fd);
  (void)ReadSome();
  watchpost::AviContents contents;
  if (watchpost::RepairAvi(Path().c_str(), 25, contents) == watchpost::kAviFinished) {
    // What is finished stays so, and is what it says.
    watchpost::AviContents again;
    if (watchpost::InspectAvi(Path().c_str(), again) != watchpost::kAviFinished ||
        again.frames != contents.frames || again.bytes != contents.bytes) {
      std::abort();
    }
    (void)ReadSome();
  }
  (void)unlink(Path().c_str());
  return 0;
}
