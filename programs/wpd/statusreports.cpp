#include "statusreports.h"

#include <unistd.h>
#include <watchpost/database/health.h>
#include <watchpost/service/daemonstate.h>

namespace wpd {

using watchpost::MutexLock;

void StatusReports::Report(DAEMON_STATUS status) {
  {
    const MutexLock lock(mutex_);
    waiting_.push_back(status);
  }
  worker_.Wake();
}

bool StatusReports::HasWork() {
  const MutexLock lock(mutex_);
  return !waiting_.empty();
}

// One at a time: the worker comes back for the next.
bool StatusReports::DoWork() {
  DAEMON_STATUS status{};
  {
    const MutexLock lock(mutex_);
    status = waiting_.front();
  }
  // Asked first: the library would log each failure, and a database that is away is worth one line.
  if (!watchpost::DatabaseAnswers() || DaemonReport(camera_id_).ReportStatus(status) != 0)
    return false;
  // Reporting succeeds also when the new row could not be stored: whoever controls the daemon would
  // then never see it again.
  const std::optional<CameraStatus> stored = watchpost::ReportedStatus(camera_id_);
  if (!stored || stored->status != status || stored->pid != getpid()) return false;
  const MutexLock lock(mutex_);
  waiting_.pop_front();
  return true;
}

}  // namespace wpd
