#include "instancelock.h"

#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <watchpost/base/paths.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

namespace wpd {
namespace {

constexpr int kTries = 20;

}  // namespace

InstanceLock::InstanceLock(int camera_id) : path_(watchpost::DaemonLockFile(camera_id)) {}

bool InstanceLock::Take(std::string& error) {
  std::error_code failure;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), failure);
  fd_.Reset(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  // Whoever may open it may lock it: an earlier version let everybody.
  if (fd_.IsValid()) (void)fchmod(fd_.Get(), 0600);
  if (!fd_.IsValid()) {
    error = "cannot open " + path_ + ": " + strerror(errno);
    return false;
  }
  // Whoever checks whether the daemon runs holds the lock for a moment.
  for (int tries = 0; tries < kTries; ++tries) {
    if (flock(fd_.Get(), LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
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
