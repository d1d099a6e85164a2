#include "service/daemonstate.h"

#include <signal.h>

#include <fstream>
#include <iterator>
#include <string>

#include "base/paths.h"
#include "base/utils.h"
#include "database/wpdb.h"
#include "service/cameracontrol.h"

namespace watchpost {
namespace {

// A lock alone proves nothing: somebody else may hold it. The command line of a daemon is "wpd -c
// ID".
bool IsDaemonOf(int camera_id, int pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline");
  const std::string line{std::istreambuf_iterator<char>(file), {}};
  const std::string name = line.substr(0, line.find('\0'));
  const std::string id = std::to_string(camera_id);
  const bool is_daemon = name == "wpd" || name.ends_with("/wpd");
  return is_daemon && (line.find('\0' + id + '\0') != std::string::npos ||
                       line.find("-c" + id + '\0') != std::string::npos ||
                       line.find("=" + id + '\0') != std::string::npos);
}

}  // namespace

std::optional<int> RunningDaemon(int camera_id) noexcept {
  constexpr int kLowestPid = 2;
  const std::string path = DaemonLockFile(camera_id);
  int pid = 0;
  if (IsFileLocked(path.c_str()) == 0 || !(std::ifstream(path) >> pid) || pid < kLowestPid)
    return std::nullopt;
  if (!IsDaemonOf(camera_id, pid)) return std::nullopt;
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
  (void)WPDBExecute(std::string("DELETE FROM ") + gszTableStatus + " WHERE cameraid = " +
                    itos(camera_id) + " AND pid = " + itos(reported->pid) + " AND updatetime = " +
                    itos(reported->update_time));  // what stays is found again
}

bool NotifyDaemon(int camera_id) noexcept {
  const std::optional<int> pid = RunningDaemon(camera_id);
  return pid && kill(*pid, SIGHUP) == 0;
}

}  // namespace watchpost
