#include "instancelock.h"

#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>
#include <watchpost/platform/rootedpath.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace wpd {

InstanceLock::InstanceLock(int camera_id)
    : path_(watchpost::RootedPath("/var/run/orva/wpd-" + std::to_string(camera_id) + ".lock")) {}

bool InstanceLock::Take(std::string& error) {
  std::error_code failure;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), failure);
  fd_.Reset(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644));
  if (!fd_.IsValid()) {
    error = "cannot open " + path_ + ": " + strerror(errno);
    return false;
  }
  if (flock(fd_.Get(), LOCK_EX | LOCK_NB) == 0) return true;
  error = errno == EWOULDBLOCK
              ? "a daemon of this camera is already running (" + path_ + " is locked)"
              : "cannot lock " + path_ + ": " + strerror(errno);
  return false;
}

void InstanceLock::WriteProcessId() const {
  const std::string text = std::to_string(getpid()) + "\n";
  // The lock holds without it.
  (void)ftruncate(fd_.Get(), 0);
  (void)pwrite(fd_.Get(), text.data(), text.size(), 0);
}

}  // namespace wpd
