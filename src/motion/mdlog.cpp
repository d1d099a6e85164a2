#include "motion/mdlog.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "base/byteorder_internal.h"
#include "base/diagnostics_internal.h"
#include "base/uniquefd.h"
#include "platform/orvaea.h"

namespace {

constexpr char kLogSource[] = "mdlog";
constexpr char kStream[] = "ORVAWP:MOTION.log";
constexpr off_t kLevelsAt = 5;  // behind the count and the header byte

bool ReadAll(int fd, unsigned char* to, std::size_t length) {
  while (length > 0) {
    const ssize_t n = read(fd, to, length);
    if (n <= 0) return false;
    to += n;
    length -= static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

MDLog::MDLog(std::string path, int headerByte) noexcept
    : fd_(ORVAEAOpen(path.c_str(), kStream, O_WRONLY | O_CREAT)) {
  if (fd_ == 0) (void)close(std::exchange(fd_, -1));  // descriptor 0 counts as none
  if (fd_ < 0) return;
  PrintQuartet(0);
  const auto byte = static_cast<unsigned char>(headerByte);
  (void)write(fd_, &byte, 1);             // a full disk shows at the first level
  (void)lseek(fd_, kLevelsAt, SEEK_SET);  // where levels belong, whatever became of these
}

MDLog::~MDLog() {
  if (fd_ < 0) return;
  (void)lseek(fd_, 0, SEEK_SET);
  PrintQuartet(count_);
  (void)close(fd_);  // nothing can be done about a failing close
}

int MDLog::WriteLevel(int level) noexcept {
  const auto byte = static_cast<unsigned char>(level);
  return WriteLevels({&byte, 1});
}

int MDLog::WriteLevels(std::span<const unsigned char> levels) noexcept {
  const ssize_t n = write(fd_, levels.data(), levels.size());
  if (n > 0) count_ += static_cast<int>(n);
  return n == static_cast<ssize_t>(levels.size()) ? 0 : -1;
}

void MDLog::PrintQuartet(int value) noexcept {
  unsigned char bytes[4];
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(value);
    value /= 256;  // rounds toward zero, also for negative values
  }
  (void)write(fd_, bytes, sizeof bytes);  // the reader refuses a log whose count is wrong
}

int RepairMotionLog(const std::string& path, int frames) noexcept {
  const watchpost::UniqueFd fd(ORVAEAOpen(path.c_str(), kStream, O_RDWR));
  if (!fd.IsValid() || frames < 0) return -1;
  unsigned char count[4];
  watchpost::StoreLe32(count, static_cast<std::uint32_t>(frames));
  if (ftruncate(fd.Get(), kLevelsAt + frames) != 0) return -1;  // what it adds is 0
  return pwrite(fd.Get(), count, sizeof count, 0) == sizeof count ? 0 : -1;
}

int FetchMotionLevel(unsigned char* levels,
                     int frames,
                     std::string path,
                     int& headerByte) noexcept {
  const watchpost::UniqueFd fd(ORVAEAOpen(path.c_str(), kStream, O_RDONLY));
  unsigned char start[4];
  if (!fd.IsValid() || !ReadAll(fd.Get(), start, sizeof start)) return -1;
  const auto count = static_cast<std::int32_t>(watchpost::LoadLe32(start));
  if (count != frames) {
    WP_LOG("Frames(%d) != Size (%d)!\n", frames, count);
    return -1;
  }
  unsigned char byte = 0;
  if (!ReadAll(fd.Get(), &byte, 1)) return -1;
  headerByte = byte == 0 ? -1 : byte;
  if (count < 0 || (count > 0 && levels == nullptr)) return -1;
  (void)ReadAll(fd.Get(), levels, static_cast<std::size_t>(count));  // levels that are missing stay
  return count;
}
