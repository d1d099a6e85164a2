#include "service/servicecontrol.h"

#include <array>
#include <list>

#include "base/diagnostics_internal.h"
#include "camera/camera.h"
#include "service/cameracontrol.h"

namespace {

constexpr char kLogSource[] = "services";

}  // namespace

int ServiceControl::Action(WP_SERVICE_CMD cmd) noexcept {
  switch (cmd) {
    case WP_SERVICE_START:
    case WP_SERVICE_STOP:
      return ControlCameras(cmd);
    case WP_SERVICE_RESTART: {
      const int stopped = ControlCameras(WP_SERVICE_STOP);
      return stopped == 0 ? ControlCameras(WP_SERVICE_START) : stopped;
    }
  }
  return 1;
}

int ServiceControl::ControlCameras(WP_SERVICE_CMD cmd) noexcept {
  for (const Camera& camera : CameraGetAll()) {
    const int id = camera.GetId();
    CameraControl control(id);
    if (!control.IsValid()) {
      WP_LOG("Invalid camera id %d", id);
      continue;
    }
    const bool running = control.Status() == DAEMON_STATUS_RUNNING;
    if (cmd == WP_SERVICE_START) {
      if (!running && control.Start() != 0) WP_LOG("Failed to start camera [%d]", id);
    } else if (cmd == WP_SERVICE_STOP) {
      if (running && control.Stop() != 0) WP_LOG("Failed to stop camera [%d]", id);
    } else {
      WP_LOG("Unknown command [%d]", cmd);
      return -1;
    }
  }
  return 0;
}

int ServiceControl::Status() noexcept {
  std::array<int, DAEMON_STATUS_STOPPED + 1> counts{};
  for (const Camera& camera : CameraGetAll()) {
    CameraControl control(camera.GetId());
    if (!control.IsValid()) continue;
    const int status = control.Status();
    if (status >= 0 && status < static_cast<int>(counts.size()))
      ++counts[static_cast<std::size_t>(status)];
  }
  if (counts[DAEMON_STATUS_UNKNOWN] > 0) return WP_SERVICE_UNKNOWN;
  if (counts[DAEMON_STATUS_STARTING] > 0) return WP_SERVICE_STARTING;
  if (counts[DAEMON_STATUS_STOPPING] > 0) return WP_SERVICE_STOPPING;
  if (counts[DAEMON_STATUS_RUNNING] == 0) return WP_SERVICE_STOPPED;
  return counts[DAEMON_STATUS_STOPPED] > 0 ? WP_SERVICE_PARTLY : WP_SERVICE_RUNNING;
}
