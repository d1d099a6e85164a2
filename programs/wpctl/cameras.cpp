#include "cameras.h"

#include <watchpost/database/health.h>
#include <watchpost/database/wpdb.h>
#include <watchpost/ipc/ringbuffer.h>

#include <cstdlib>

#include "report.h"

namespace wpctl {

bool RequireDatabase() {
  if (watchpost::DatabaseAnswers()) return true;
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

}  // namespace wpctl
