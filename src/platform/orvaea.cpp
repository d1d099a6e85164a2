#include "platform/orvaea.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

namespace {

struct StreamPlace {
  std::string parent;  // D/@eaDir
  std::string folder;  // D/@eaDir/F
};

std::optional<StreamPlace> PlaceOf(const char* path) {
  std::string file = path == nullptr ? "" : path;
  while (file.size() > 1 && file.ends_with('/')) file.pop_back();
  const std::size_t slash = file.rfind('/');
  const std::string name = slash == std::string::npos ? file : file.substr(slash + 1);
  if (name.empty() || name == "." || name == "..") return std::nullopt;
  StreamPlace place;
  place.parent =
      (slash == std::string::npos ? "" : file.substr(0, slash + 1)) + watchpost::kStreamFolder;
  place.folder = place.parent + "/" + name;
  return place;
}

bool IsPlainName(const char* stream) {
  const std::string name = stream == nullptr ? "" : stream;
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

}  // namespace

int ORVAEAOpen(const char* path, const char* stream, int flags) noexcept {
  const std::optional<StreamPlace> place = PlaceOf(path);
  if (!place || !IsPlainName(stream)) {
    errno = EINVAL;
    return -1;
  }
  const std::string file = place->folder + "/" + stream;
  // Another process that removes the last streams of a neighbour takes the empty "@eaDir" away
  // between two of these steps; a folder that is really missing ends the tries all the same.
  constexpr int kTries = 10;
  int fd = -1;
  for (int tries = 0; tries < kTries; ++tries) {
    if ((flags & O_CREAT) != 0) {
      (void)mkdir(place->parent.c_str(), 0755);  // what is missing shows when the stream is opened
      (void)mkdir(place->folder.c_str(), 0755);
    }
    fd = open(file.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (fd >= 0 || errno != ENOENT || (flags & O_CREAT) == 0) break;
  }
  return fd;
}

int ORVAEARemove(const char* path) noexcept {
  const std::optional<StreamPlace> place = PlaceOf(path);
  if (!place) return -1;
  std::error_code error;
  const auto removed = std::filesystem::remove_all(place->folder, error);
  if (error) return -1;
  if (removed > 0) (void)rmdir(place->parent.c_str());  // stays while other files have streams
  return 0;
}
