// Where things lie on an appliance, and the service's number there. Thread-safe.
#pragma once

#include <string>
#include <string_view>

#include "base/export.h"

namespace watchpost {

/// Number of the recording service in the appliance's configuration: section "service 9".
inline constexpr int kRecordingService = 9;

/// The absolute appliance path `path` ("/volume1/@tmp", ...), with the value of the environment
/// variable ORVA_ROOT in front of it when that is set, not empty, and the process does not run with
/// raised privileges. Trailing slashes of ORVA_ROOT are dropped. All functions below go through it.
WATCHPOST_API std::string RootedPath(std::string_view path);

/// The appliance's configuration, "/etc/orvainfo.conf".
WATCHPOST_API std::string ConfigurationFile();

/// The recording daemon's program, "/usr/orva/sbin/wpd".
WATCHPOST_API std::string DaemonProgram();

/// Files of one camera's daemon: "/var/run/orva/wpd-ID.lock", held under an exclusive flock while
/// the daemon lives; "/var/run/orva/wpd-ID.json", what it is doing; "/var/lib/orva/wpd-ID.rows",
/// rows that the database has not taken yet; "/var/lib/orva/wpd-ID.folder", where its recordings
/// go.
WATCHPOST_API std::string DaemonLockFile(int camera_id);
WATCHPOST_API std::string DaemonStatusFile(int camera_id);
WATCHPOST_API std::string DaemonJournalFile(int camera_id);
WATCHPOST_API std::string DaemonFolderFile(int camera_id);

}  // namespace watchpost
