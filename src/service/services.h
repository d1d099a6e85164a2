// State of the per-camera daemons, one row a camera in table "camerastatus".
#pragma once

#include "base/export.h"

/// State of a camera's daemon.
enum DAEMON_STATUS : int {
  DAEMON_STATUS_UNKNOWN = 0,   ///< no row, or it could not be read
  DAEMON_STATUS_STARTING = 1,  ///< getting ready
  DAEMON_STATUS_RUNNING = 2,   ///< running, whether its camera is reachable or not
  DAEMON_STATUS_STOPPING = 3,  ///< finishing what it records
  DAEMON_STATUS_STOPPED = 4,   ///< ended
};

/// A row of the table.
struct CameraStatus {
  int camera_id;
  int pid;
  int status;       ///< a DAEMON_STATUS
  int update_time;  ///< of the report, seconds since the epoch
};

/// Reports the state of the daemon that uses it.
class WATCHPOST_API DaemonReport {
 public:
  explicit DaemonReport(int cameraId) noexcept : camera_id_(cameraId) {}

  /// Replaces the camera's row with `status`, the calling process's id and the present time.
  /// Returns -1, with a line in the system log, when the old row could not be removed; 0 otherwise,
  /// even when the new one could not be stored.
  int ReportStatus(DAEMON_STATUS status) noexcept;

 private:
  int camera_id_;
};
