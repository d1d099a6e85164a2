// The file of a recording: its name and its place. The name is PREFIXYYYYMMDD-HHMMSS[-N].avi in local
// time, relative to the camera's storage folder. Thread-safe; nothing is logged.
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "base/export.h"
#include "camera/camera.h"
#include "event/event.h"

namespace watchpost {

/// The path of the file `name` in a camera's folder, whatever the name holds.
WATCHPOST_API std::string JoinRecordingPath(const std::string& folder, const std::string& name);

/// The same; nothing when it leads out of the folder: a row may hold anything.
WATCHPOST_API std::optional<std::string> RecordingPath(const std::string& folder,
                                                       const std::string& name);

/// The file of a camera's recording, as above.
WATCHPOST_API std::optional<std::string> RecordingPath(const Camera& camera, const Event& event);

/// Creates the empty file of a recording that begins at `when`, and returns its name. One that is
/// taken gets -2, -3, ...: local time repeats an hour in autumn, and no recording may overwrite
/// another. Characters of the prefix that cannot stand in a name become '_'. Empty, with `error`
/// filled, when it cannot be created.
WATCHPOST_API std::string CreateRecordingFile(const std::string& folder,
                                              const std::string& prefix,
                                              time_t when,
                                              std::string& error);

/// Whether a file of that name can be a recording.
WATCHPOST_API bool IsRecordingName(const std::string& name);

/// When a recording began by its file's name: seconds since the epoch; the first of two such moments
/// where summer time ends. Nothing for other names.
WATCHPOST_API std::optional<long> StartOfRecording(const std::string& name) noexcept;

}  // namespace watchpost
