#include "service/daemonstate.h"

#include <signal.h>

#include <fstream>

#include "base/paths.h"
#include "base/utils.h"
#include "database/wpdb.h"
#include "service/cameracontrol.h"

namespace watchpost {

std::optional<int> RunningDaemon(int camera_id) noexcept {
  constexpr int kLowestPid = 2;
  const std::string path = DaemonLockFile(camera_id);
  int pid = 0;
  if (IsFileLocked(path.c_str()) == 0 || !(std::ifstream(path) >> pid) || pid < kLowestPid)
    return std::nullopt;
  return pid;
}

std::optional<CameraStatus> ReportedStatus(int camera_id) noexcept {
  CameraStatus status{};
  if (CameraControl(camera_id).GetReportedStatus(&status) != 0) return std::nullopt;
  return status;
}

bool HasDaemonDied(int camera_id) noexcept {
  const std::optional<CameraStatus> reported = ReportedStatus(camera_id);
  const bool wanted = reported && (reported->status == DAEMON_STATUS_RUNNING ||
                                   reported->status == DAEMON_STATUS_STARTING);
  return wanted && !RunningDaemon(camera_id);
}

void DropStaleStatus(int camera_id) noexcept {
  const std::optional<CameraStatus> reported = ReportedStatus(camera_id);
  if (!reported || !HasDaemonDied(camera_id)) return;
  (void)WPDBExecute(std::string("DELETE FROM ") + gszTableStatus +
                    " WHERE cameraid = " + itos(camera_id) + " AND pid = " + itos(reported->pid) +
                    " AND updatetime = " + itos(reported->update_time));  // what stays is found again
}

bool NotifyDaemon(int camera_id) noexcept {
  const std::optional<int> pid = RunningDaemon(camera_id);
  return pid && kill(*pid, SIGHUP) == 0;
}

}  // namespace watchpost
