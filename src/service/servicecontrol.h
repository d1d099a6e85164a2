// Starts, stops and sums up the recording daemons of all cameras. Thread-safe. What fails is logged
// in the system log.
#pragma once

#include <cstdint>

#include "base/export.h"

enum WP_SERVICE_CMD : std::int32_t {
  WP_SERVICE_START = 1,
  WP_SERVICE_STOP = 2,
  WP_SERVICE_RESTART = 3,
};

/// The state of all daemons together, the first that holds.
enum WP_SERVICE_STATUS : int {
  WP_SERVICE_UNKNOWN = 0,   ///< of some camera no status is known
  WP_SERVICE_STARTING = 1,  ///< some daemon is starting
  WP_SERVICE_STOPPING = 4,  ///< some daemon is stopping
  WP_SERVICE_STOPPED = 5,   ///< none is running, or there is no camera
  WP_SERVICE_PARTLY = 3,    ///< some are running and some are stopped
  WP_SERVICE_RUNNING = 2,   ///< all are running
};

class WATCHPOST_API ServiceControl {
 public:
  /// Applies a command to every camera, one after the other. Returns 0, whatever became of single
  /// cameras; 1 for an unknown command. Blocks for up to a minute a camera and direction.
  int Action(WP_SERVICE_CMD cmd) noexcept;

  /// Starts those that do not run, or stops those that do. Returns 0; -1 for another command when
  /// there is a camera.
  int ControlCameras(WP_SERVICE_CMD cmd) noexcept;

  /// A WP_SERVICE_STATUS.
  int Status() noexcept;
};
