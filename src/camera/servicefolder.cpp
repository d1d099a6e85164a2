#include "camera/servicefolder.h"

#include <sys/stat.h>

#include <cstdlib>

#include "base/paths.h"
#include "base/shell_internal.h"
#include "platform/orvaserviceinfo.h"

namespace watchpost {

std::optional<ServiceFolder> FindServiceFolder() noexcept {
  ORVA_SERVICE_INFO info{};
  if (ORVAServiceInfoGet(kRecordingService, &info) <= 0) return std::nullopt;
  return ServiceFolder{info.path, RootedPath("/volume" + std::to_string(info.volume) + "/@tmp")};
}

bool MakeDirectory(const std::string& path) noexcept {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return true;
  return mkdir(path.c_str(), 0777) == 0;
}

bool RemoveInBackground(const std::string& path) noexcept {
  return std::system(("/bin/rm -rf " + ShellWord(path) + " &").c_str()) >= 0;
}

}  // namespace watchpost
