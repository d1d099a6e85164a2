// Whether a camera's daemon lives: it holds an flock on its lock file, which holds its process id.
// Rows of table "camerastatus" say what it reported. Thread-safe; nothing is logged.
#pragma once

#include <optional>

#include "base/export.h"
#include "service/services.h"

namespace watchpost {

/// Process id of the camera's daemon; nothing while none holds the camera's lock.
WATCHPOST_API std::optional<int> RunningDaemon(int camera_id) noexcept;

/// What the camera's daemon reported last; nothing without a row, or when it cannot be read.
WATCHPOST_API std::optional<CameraStatus> ReportedStatus(int camera_id) noexcept;

/// Whether a row says that a daemon runs while nobody holds the camera's lock: the process id in it
/// may by now be a stranger's.
WATCHPOST_API bool HasDaemonDied(int camera_id) noexcept;

/// Removes the row of a daemon that has died; not one that a daemon has written meanwhile, which
/// another controller may have started.
WATCHPOST_API void DropStaleStatus(int camera_id) noexcept;

/// Makes a running daemon take over the camera's changed record (SIGHUP). Whether one was reached.
WATCHPOST_API bool NotifyDaemon(int camera_id) noexcept;

}  // namespace watchpost
