// The life of one camera's daemon, from its threads' start to the last row.
#pragma once

#include <watchpost/service/daemonsettings.h>

#include "camerarecord.h"
#include "launcher.h"

namespace wpd {

/// Blocks the signals that the daemon waits for. Must be called before there are threads.
void BlockSignals();

/// Records the camera until SIGINT or SIGTERM; SIGHUP takes over its changed record. Reports to
/// `readiness` once the camera's row says that the daemon runs, or that it could not get so far.
/// Returns the status to exit with, within 5 s of the signal; leaves the process by itself when a
/// thread cannot be waited for.
int RunDaemon(const watchpost::DaemonSettings& settings,
              const CameraRecord& record,
              Readiness& readiness);

}  // namespace wpd
