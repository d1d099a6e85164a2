#include "platform/olibfile.h"

#include <dirent.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/keyvaluefile.h"

namespace {

struct DirDeleter {
  void operator()(DIR* dir) const { (void)closedir(dir); }  // it was opened for reading
};

bool IsLogSocket(int fd) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  int type = 0;
  socklen_t type_size = sizeof type;
  return getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
         address.ss_family == AF_UNIX &&
         getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &type_size) == 0 && type == SOCK_DGRAM;
}

}  // namespace

int OLIBFileGetSection(const char* path, const char* section, OLIBSZHASH** hash) noexcept {
  return watchpost::KeyValueFile(path).GetSection(section, hash);
}

int OLIBFileGetKeyValue(
    const char* path, const char* key, char* buffer, int size, int /*flags*/) noexcept {
  if (buffer == nullptr || size < 1) return -1;
  const watchpost::KeyValueFile file(path);
  const char* value = file.GetValue(key);
  if (value == nullptr) return -1;
  const std::size_t length = std::min(std::strlen(value), static_cast<std::size_t>(size) - 1);
  std::memcpy(buffer, value, length);
  buffer[length] = '\0';
  return static_cast<int>(length);
}

void ErrOLIBFileCloseLock() noexcept {
  std::vector<int> inherited;
  if (const std::unique_ptr<DIR, DirDeleter> dir(opendir("/proc/self/fd")); dir != nullptr) {
    for (const dirent* entry = readdir(dir.get()); entry != nullptr; entry = readdir(dir.get()))
      inherited.push_back(std::atoi(entry->d_name));  // 0 for "." and ".."
  }
  for (const int fd : inherited) {
    if (fd > STDERR_FILENO && !IsLogSocket(fd))
      (void)close(fd);  // the folder's own has gone already
  }
}
