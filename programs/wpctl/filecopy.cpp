#include "filecopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <watchpost/base/uniquefd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace wpctl {
namespace {

using watchpost::UniqueFd;
using Buffer = std::vector<char>;

constexpr std::size_t kBlock = 1U << 20;

// Reads a block, or what is left; fewer bytes than a block only at the end. -1 on failure.
ssize_t ReadBlock(int fd, Buffer& buffer) {
  std::size_t got = 0;
  while (got < buffer.size()) {
    const ssize_t n = read(fd, buffer.data() + got, buffer.size() - got);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    got += static_cast<std::size_t>(n);
  }
  return static_cast<ssize_t>(got);
}

bool WriteAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t n = write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

bool CopyBytes(int from, int to, const CopyProgress& show) {
  Buffer buffer(kBlock);
  double done = 0;
  for (ssize_t n = 0; (n = ReadBlock(from, buffer)) != 0;) {
    if (n < 0 || !WriteAll(to, buffer.data(), static_cast<std::size_t>(n))) return false;
    show(done += static_cast<double>(n));
  }
  return true;
}

// With its owner where that can be, and its times: an unfinished recording ends at its last change.
bool CopyFile(const std::string& source, const std::string& target, const CopyProgress& show) {
  const UniqueFd from(open(source.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (!from.IsValid() || fstat(from.Get(), &status) != 0) return false;
  const UniqueFd to(
      open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!to.IsValid() || !CopyBytes(from.Get(), to.Get(), show)) return false;
  (void)fchown(to.Get(), status.st_uid, status.st_gid);  // only root may
  const timespec times[] = {status.st_atim, status.st_mtim};
  return fchmod(to.Get(), status.st_mode & 07777U) == 0 && futimens(to.Get(), times) == 0 &&
         fsync(to.Get()) == 0;
}

bool RenameNew(const std::string& source, const std::string& target) {
  if (renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0)
    return true;
  // Some file systems do not know how; nobody else writes in the folder meanwhile.
  if (errno != EINVAL && errno != ENOSYS) return false;
  if (access(target.c_str(), F_OK) == 0) {
    errno = EEXIST;
    return false;
  }
  return std::rename(source.c_str(), target.c_str()) == 0;
}

bool SyncFolder(const std::string& folder) {
  const UniqueFd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return fd.IsValid() && fsync(fd.Get()) == 0;
}

}  // namespace

bool MoveFile(const std::string& source,
              const std::string& target,
              const std::string& half,
              const CopyProgress& show) {
  if (RenameNew(source, target)) return true;
  if (errno != EXDEV) return false;
  return CopyFile(source, half, show) && RenameNew(half, target) &&
         SyncFolder(std::filesystem::path(target).parent_path());
}

bool HaveSameContents(const std::string& a, const std::string& b) {
  const UniqueFd fd_a(open(a.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  const UniqueFd fd_b(open(b.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!fd_a.IsValid() || !fd_b.IsValid()) return false;
  Buffer bytes_a(kBlock);
  Buffer bytes_b(kBlock);
  for (;;) {
    const ssize_t n = ReadBlock(fd_a.Get(), bytes_a);
    if (n < 0 || ReadBlock(fd_b.Get(), bytes_b) != n) return false;
    if (!std::equal(bytes_a.begin(), bytes_a.begin() + n, bytes_b.begin())) return false;
    if (n == 0) return true;
  }
}

}  // namespace wpctl
