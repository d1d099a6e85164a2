// The folders of the recording service.

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>

#include "event/eventfiles_internal.h"
#include "foundation/log_internal.h"
#include "foundation/utils.h"
#include "platform/orvaserviceinfo.h"
#include "platform/rootedpath.h"

namespace {

constexpr char kLogSource[] = "eventutils";
constexpr int kRecordingService = 9;

struct DirDeleter {
  void operator()(DIR* dir) const noexcept { (void)closedir(dir); }
};

bool MakeDirectory(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return true;
  return mkdir(path.c_str(), 0777) == 0;
}

}  // namespace

int GetSServiceDir(std::string& dir) noexcept {
  ORVA_SERVICE_INFO info{};
  if (ORVAServiceInfoGet(kRecordingService, &info) <= 0) {
    WP_LOG("Get no service info");
    return -1;
  }
  dir = info.path;
  return 0;
}

int CheckAndMakeTempDir(std::string& serviceTmpDir, std::string& serviceDir) noexcept {
  ORVA_SERVICE_INFO info{};
  if (ORVAServiceInfoGet(kRecordingService, &info) <= 0) {
    WP_LOG("Get no service info");
    return -1;
  }
  const std::string tmp = watchpost::RootedPath("/volume" + itos(info.volume) + "/@tmp");
  serviceTmpDir = tmp + "/surveillance";
  serviceDir = info.path;
  if (!MakeDirectory(tmp)) {
    WP_LOG("Make tmp dir error!");
    return -1;
  }
  if (!MakeDirectory(serviceTmpDir)) {
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
