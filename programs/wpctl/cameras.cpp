#include "cameras.h"

#include <watchpost/database/health.h>
#include <watchpost/database/wpdb.h>
#include <watchpost/ipc/ringbuffer.h>
#include <watchpost/service/daemonstate.h>

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

std::optional<std::vector<Camera>> FindCameras(const std::vector<std::string>& ids_or_names) {
  std::vector<Camera> cameras;
  if (ids_or_names.empty()) {
    if (!RequireDatabase()) return std::nullopt;
    const std::list<Camera> all = CameraGetAll();
    cameras.assign(all.begin(), all.end());
  }
  for (const std::string& name : ids_or_names) {
    const std::optional<Camera> camera = FindCamera(name);
    if (!camera) return std::nullopt;
    cameras.push_back(*camera);
  }
  return cameras;
}

bool RequireLiveFrames(const Camera& camera) {
  const int id = camera.GetId();
  // A daemon that was killed leaves its last frames behind.
  const bool runs = watchpost::RunningDaemon(id).has_value();
  if (runs && CameraConnectionStatus(id) != CAM_CONN_NONE) return true;
  (void)Failed(
      "no live frames of camera \"" + camera.GetName() + "\": " +
      (runs ? "its daemon keeps none: ring_kibibytes is 0, or the system log says why"
            : "its daemon is not running (wpctl service start " + std::to_string(id) + ")"));
  return false;
}

std::string TitleOf(const Camera& camera) {
  return std::to_string(camera.GetId()) + " (" + camera.GetName() + ")";
}

std::string AddressOf(const Camera& camera) {
  return "http://" + camera.GetHost() + ":" + std::to_string(camera.GetPort()) + "/" +
         camera.GetPath();
}

std::optional<int> CapacityLimitOf(const Camera& camera) {
  return camera.IsRotatedBySize() ? std::optional(camera.GetCapacityLimit()) : std::nullopt;
}

std::optional<int> DaysLimitOf(const Camera& camera) {
  return camera.IsRotatedByDate() ? std::optional(camera.GetExpireDays()) : std::nullopt;
}

const char* ConnectionName(int status) {
  switch (status) {
    case CAM_CONN_WAITING:
      return "waiting";
    case CAM_CONN_CONNECTED:
      return "connected";
    case CAM_CONN_LOST:
      return "lost";
    default:
      return "none";
  }
}

}  // namespace wpctl
