#include "locks.h"

#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <watchpost/base/paths.h>
#include <watchpost/base/utils.h>
#include <watchpost/service/daemonstate.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>

namespace wpctl {
namespace {

using watchpost::UniqueFd;

constexpr std::chrono::milliseconds kBetweenTries{20};

// Tries for `tries` times 20 ms. Invalid with errno set.
UniqueFd Lock(const std::string& path, int tries) {
  std::error_code failure;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), failure);
  UniqueFd fd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!fd.IsValid()) return fd;
  while (flock(fd.Get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK || --tries <= 0) return {};
    std::this_thread::sleep_for(kBetweenTries);
  }
  return fd;
}

// Process id of whoever holds a flock on the file; 0 when the system does not say.
int HolderOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return 0;
  const std::string inode = ":" + std::to_string(status.st_ino);
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream words(line);
    std::string number;
    std::string kind;
    std::string mode;
    std::string access;
    int pid = 0;
    std::string file;
    if (words >> number >> kind >> mode >> access >> pid >> file && kind == "FLOCK" &&
        file.ends_with(inode))
      return pid;
  }
  return 0;
}

}  // namespace

UniqueFd LockCameras(std::string& error) {
  constexpr int kTries = 1500;
  const std::string path = watchpost::RootedPath("/var/run/orva/wpctl.lock");
  UniqueFd fd = Lock(path, kTries);
  if (fd.IsValid()) return fd;
  error = errno == EWOULDBLOCK ? "another wpctl is changing cameras; try again"
                               : "cannot lock " + path + ": " + strerror(errno);
  return fd;
}

UniqueFd HoldDaemon(int camera_id, std::string& error) {
  constexpr int kTries = 20;  // whoever checks whether the daemon runs holds the lock for a moment
  const std::string path = watchpost::DaemonLockFile(camera_id);
  UniqueFd fd = Lock(path, kTries);
  if (fd.IsValid()) return fd;
  const int failure = errno;
  const std::string id = std::to_string(camera_id);
  if (failure != EWOULDBLOCK) {
    error = "cannot lock " + path + ": " + strerror(failure);
  } else if (watchpost::RunningDaemon(camera_id)) {
    error = "the daemon of camera " + id + " is running; stop it first: wpctl service stop " + id;
  } else {
    error = path + " is held by " + StrangerWithLock(camera_id);
  }
  return fd;
}

std::string StrangerWithLock(int camera_id) {
  const std::string path = watchpost::DaemonLockFile(camera_id);
  if (watchpost::RunningDaemon(camera_id) || IsFileLocked(path.c_str()) == 0) return "";
  const int pid = HolderOf(path);
  if (pid <= 0) return "another process";
  std::string name;
  std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
  (void)std::getline(file, name);  // stays empty
  return "process " + std::to_string(pid) + (name.empty() ? "" : " (" + name + ")");
}

}  // namespace wpctl
