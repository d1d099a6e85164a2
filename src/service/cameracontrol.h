// Starts, stops and watches the recording daemon of one camera. Thread-safe; every call reads the
// daemon's row afresh. What fails is logged in the system log.
#pragma once

#include "base/export.h"
#include "service/services.h"

class WATCHPOST_API CameraControl {
 public:
  explicit CameraControl(int cameraId) noexcept : camera_id_(cameraId) {}

  [[nodiscard]] bool IsValid() const noexcept { return camera_id_ > 0; }

  /// Starts the daemon and waits until it runs. 0, or -1 when it runs already or does not get to
  /// run within a minute; it is left alone then. Blocks.
  int Start() noexcept;

  /// Interrupts the daemon and waits until it has stopped. 0, also when it was not running; -1 when
  /// it does not stop within a minute. Blocks.
  int Stop() noexcept;

  /// Stop and Start; -1 when either fails.
  int Restart() noexcept;

  /// Runs "/usr/orva/sbin/wpd -c ID" in a shell, which waits for the launcher, not for the daemon.
  /// Returns what system(3) does.
  int ForkDaemon() noexcept;

  /// What the daemon has reported; DAEMON_STATUS_STOPPED in place of "running" when its process is
  /// gone.
  DAEMON_STATUS Status() noexcept;

  /// The row of the daemon's last report. Returns 0; -1, with the record unchanged, without one.
  int GetReportedStatus(CameraStatus* status) noexcept;

  /// The reported process id; -1 without a report.
  int GetDaemonPid() noexcept;

  /// Looks once a second, `timeout` times at most (without bound for 0 and less), for the status
  /// `wanted`. Returns 0 when it was seen, else -1.
  int WaitStatus(DAEMON_STATUS wanted, int timeout) noexcept;

 private:
  int camera_id_;
};
