#include "cameras.h"

#include <signal.h>
#include <watchpost/foundation/utils.h>
#include <watchpost/foundation/wpdb.h>
#include <watchpost/ipc/ringbuffer.h>
#include <watchpost/platform/rootedpath.h>

#include <cstdlib>
#include <fstream>

#include "report.h"

namespace wpctl {

bool RequireDatabase() {
  pg_conn* conn = WPDBConnect();
  WPDBClose(conn);
  if (conn != nullptr) return true;
  const char* port = std::getenv("PGPORT");
  (void)Failed("the database \"" + std::string(gszDBName) + "\" on " + gszDBHost + ", port " +
               (port == nullptr || *port == '\0' ? "5432" : port) +
               " does not answer: start the server, and run \"wpctl db init\" once");
  return false;
}

std::optional<Camera> FindCamera(const std::string& id_or_name) {
  if (!RequireDatabase()) return std::nullopt;
  const std::list<Camera> cameras = CameraGetAll();
  for (const Camera& camera : cameras) {
    if (std::to_string(camera.GetId()) == id_or_name) return camera;
  }
  for (const Camera& camera : cameras) {
    if (camera.GetName() == id_or_name) return camera;
  }
  (void)Failed("there is no camera \"" + id_or_name + "\"; \"wpctl camera list\" shows all");
  return std::nullopt;
}

std::optional<int> RunningDaemon(int camera_id) {
  const std::string path =
      watchpost::RootedPath("/var/run/orva/wpd-" + std::to_string(camera_id) + ".lock");
  int pid = 0;
  if (IsFileLocked(path.c_str()) == 0 || !(std::ifstream(path) >> pid) || pid < 2)
    return std::nullopt;
  return pid;
}

bool RequireLivePictures(const Camera& camera) {
  const int id = camera.GetId();
  const bool runs = RunningDaemon(id).has_value();  // one that was killed leaves its last pictures
  if (runs && CameraConnectionStatus(id) != CAM_CONN_NONE) return true;
  (void)Failed(
      "no live pictures of camera \"" + camera.GetName() + "\": " +
      (runs ? "its daemon keeps none: ring_kibibytes is 0, or the system log says why"
            : "its daemon is not running (wpctl service start " + std::to_string(id) + ")"));
  return false;
}

bool TellDaemon(int camera_id) {
  const std::optional<int> pid = RunningDaemon(camera_id);
  return pid && kill(*pid, SIGHUP) == 0;
}

}  // namespace wpctl
