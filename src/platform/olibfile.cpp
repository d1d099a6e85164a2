#include "platform/olibfile.h"

#define SI_NO_CONVERSION  // values are byte strings
#define SI_IMPLEMENTATION
#include <SimpleIni.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/unique_fd.h"

namespace {

constexpr off_t kMaxFileSize = 4 * 1024 * 1024;

std::optional<std::string> ReadFile(const char* path) {
  if (path == nullptr) return std::nullopt;
  // Not waiting at open keeps a FIFO of that name from holding the caller up.
  const watchpost::UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!fd.IsValid() || fstat(fd.Get(), &status) != 0 || !S_ISREG(status.st_mode))
    return std::nullopt;
  if (status.st_size > kMaxFileSize) return std::nullopt;
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t held = 0;
  while (held < text.size()) {
    const ssize_t n = read(fd.Get(), text.data() + held, text.size() - held);
    if (n < 0) return std::nullopt;
    if (n == 0) break;
    held += static_cast<std::size_t>(n);
  }
  text.resize(held);
  return text;
}

bool LoadFile(const char* path, CSimpleIniCaseA& file) {
  const std::optional<std::string> text = ReadFile(path);
  if (!text) return false;
  file.SetQuotes(true);
  return file.LoadData(*text) == SI_OK;
}

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
  CSimpleIniCaseA file;
  if (section == nullptr || hash == nullptr || *hash == nullptr || !LoadFile(path, file)) return -1;
  const CSimpleIniCaseA::TKeyVal* keys = file.GetSection(section);
  if (keys == nullptr) return -1;
  for (const auto& [key, value] : *keys) (void)OLIBSzHashSetValue(hash, key.pItem, value);
  return static_cast<int>(keys->size());
}

int OLIBFileGetKeyValue(
    const char* path, const char* key, char* buffer, int size, int /*flags*/) noexcept {
  CSimpleIniCaseA file;
  if (key == nullptr || buffer == nullptr || size < 1 || !LoadFile(path, file)) return -1;
  const char* value = file.GetValue("", key);
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
