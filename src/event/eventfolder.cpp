#include "event/eventfolder_internal.h"

#include <dirent.h>

#include <cerrno>
#include <memory>

#include "base/diagnostics_internal.h"
#include "camera/servicefolder.h"

namespace {

constexpr char kLogSource[] = "eventutils";

struct DirDeleter {
  void operator()(DIR* dir) const noexcept { (void)closedir(dir); }
};

}  // namespace

int GetSServiceDir(std::string& dir) noexcept {
  const auto service = watchpost::FindServiceFolder();
  if (!service) {
    WP_LOG("Get no service info");
    return -1;
  }
  dir = service->path;
  return 0;
}

int CheckAndMakeTempDir(std::string& serviceTmpDir, std::string& serviceDir) noexcept {
  const auto service = watchpost::FindServiceFolder();
  if (!service) {
    WP_LOG("Get no service info");
    return -1;
  }
  serviceTmpDir = service->trash + "/surveillance";
  serviceDir = service->path;
  if (!watchpost::MakeDirectory(service->trash)) {
    WP_LOG("Make tmp dir error!");
    return -1;
  }
  if (!watchpost::MakeDirectory(serviceTmpDir)) {
    WP_LOG("Make wp tmp dir error!");
    return -1;
  }
  return 0;
}

int ListServiceDirEntries(std::list<std::string>& entries) noexcept {
  std::string folder;
  if (GetSServiceDir(folder) != 0) return -1;
  entries.clear();
  const std::unique_ptr<DIR, DirDeleter> dir(opendir(folder.c_str()));
  if (dir == nullptr) return -1;
  errno = 0;
  while (const dirent* entry = readdir(dir.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") entries.push_back(folder + "/" + name);
  }
  return errno == EBADF ? -1 : 0;
}
