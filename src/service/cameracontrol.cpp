#include "service/cameracontrol.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "base/diagnostics_internal.h"
#include "base/paths.h"
#include "base/shell_internal.h"
#include "base/utils.h"
#include "database/statement.h"
#include "database/wpdb.h"

namespace {

constexpr char kLogSource[] = "services";
constexpr int kPolls = 60;
constexpr int kLowestPid = 2;

}  // namespace

int CameraControl::Start() noexcept {
  if (Status() == DAEMON_STATUS_RUNNING) {
    WP_LOG("Process for this daemon is not stopped");
    return -1;
  }
  if (ForkDaemon() != 0) {
    WP_LOG("Failed to fork daemon.");
    return -1;
  }
  if (WaitStatus(DAEMON_STATUS_RUNNING, kPolls) != 0) {
    WP_LOG("startup waiting timed out");
    return -1;
  }
  return 0;
}

int CameraControl::Stop() noexcept {
  if (Status() != DAEMON_STATUS_RUNNING) {
    WP_LOG("Daemon is not running.");
    return 0;
  }
  const int pid = GetDaemonPid();
  if (pid < 0) {
    WP_LOG("Failed to get process id");
    return -1;
  }
  // A row may hold anything: 0 would be everybody in this process's group, 1 the system's first.
  if (pid < kLowestPid || kill(pid, SIGINT) != 0) {
    WP_LOG("Failed to kill daemon");
    return -1;
  }
  if (WaitStatus(DAEMON_STATUS_STOPPED, kPolls) != 0) {
    WP_LOG("startup waiting timed out");
    return -1;
  }
  return 0;
}

int CameraControl::Restart() noexcept {
  return Stop() == 0 && Start() == 0 ? 0 : -1;
}

int CameraControl::ForkDaemon() noexcept {
  const std::string command =
      watchpost::ShellWord(watchpost::DaemonProgram()) + " -c " + itos(camera_id_);
  const int result = std::system(command.c_str());
  if (result == -1) {
    WP_LOG("forking daemon failed: [%s]", command.c_str());
  } else if (WEXITSTATUS(result) != 0) {
    WP_LOG("daemon returned abnormal status [%d]", WEXITSTATUS(result));
  }
  return result;
}

DAEMON_STATUS CameraControl::Status() noexcept {
  CameraStatus reported{};
  if (GetReportedStatus(&reported) != 0) return DAEMON_STATUS_UNKNOWN;
  // A daemon that died without a report; one of another user's exists all the same.
  if (reported.status == DAEMON_STATUS_RUNNING && kill(reported.pid, 0) != 0 && errno == ESRCH)
    return DAEMON_STATUS_STOPPED;
  return static_cast<DAEMON_STATUS>(reported.status);
}

int CameraControl::GetReportedStatus(CameraStatus* status) noexcept {
  if (status == nullptr) return -1;
  const watchpost::ResultPtr result = watchpost::Query(
      std::string("SELECT * FROM ") + gszTableStatus + " WHERE cameraid = " + itos(camera_id_));
  watchpost::RowCursor rows(result.get());
  if (!rows.Next()) return -1;
  const watchpost::Row row = rows.Get();
  if (row.Has("pid")) status->pid = row.Int("pid");
  if (row.Has("status")) status->status = row.Int("status");
  if (row.Has("cameraid")) status->camera_id = row.Int("cameraid");
  if (row.Has("updatetime")) status->update_time = row.Int("updatetime");
  return 0;
}

int CameraControl::GetDaemonPid() noexcept {
  CameraStatus reported{};
  return GetReportedStatus(&reported) == 0 ? reported.pid : -1;
}

int CameraControl::WaitStatus(DAEMON_STATUS wanted, int timeout) noexcept {
  for (auto left = static_cast<unsigned int>(timeout);; --left) {
    const DAEMON_STATUS status = Status();
    if (status == wanted) return 0;
    if (left == 1) return -1;
    // Goes on after a signal: the number of polls is the limit of time.
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
}
