// Removing a camera with everything that was recorded of it.

#include <libgen.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "camera/camera.h"
#include "foundation/log_internal.h"
#include "foundation/shell_internal.h"
#include "foundation/utils.h"
#include "foundation/wpdb.h"
#include "platform/orvaserviceinfo.h"
#include "platform/rootedpath.h"

namespace {

constexpr char kLogSource[] = "camera";
constexpr int kRecordingService = 9;

bool IsDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string LastComponent(const std::string& path) {
  std::vector<char> buffer(path.c_str(), path.c_str() + path.size() + 1);
  return basename(buffer.data());
}

}  // namespace

int Camera::Delete() noexcept {
  if (id_ > 0 && DeleteEventsOfCamera() != 0) return -1;
  (void)motion_detection_.Delete(id_);  // regions that stay behind belong to nobody
  return DeleteDBEntry();
}

int Camera::DeleteEventsOfCamera() noexcept {
  ORVA_SERVICE_INFO info{};
  if (ORVAServiceInfoGet(kRecordingService, &info) <= 0) {
    WP_LOG("Get no service info");
    return -1;
  }
  const std::string trash = watchpost::RootedPath("/volume" + itos(info.volume) + "/@tmp");
  const std::string moved = trash + "/" + LastComponent(storage_path_);
  if (!IsDirectory(trash) && mkdir(trash.c_str(), 0777) != 0) {
    WP_LOG("Make tmp dir error!");
    return -1;
  }
  if (std::rename(storage_path_.c_str(), moved.c_str()) != 0) {
    WP_LOG("Remove to tmp error!");
  } else if (std::system(("/bin/rm -rf " + watchpost::ShellWord(moved) + " &").c_str()) < 0) {
    WP_LOG("Remove events error!");
    return -1;
  }
  if (WPDBExecute(std::string("DELETE FROM ") + gszTableEvent +
                  " WHERE camera_id = " + itos(id_)) != 0) {
    WP_LOG("Failed to delete camera(%d) events", id_);
    return -1;
  }
  return 0;
}
