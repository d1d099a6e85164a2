// The file of a recording: its name and its place. The name is PREFIXYYYYMMDD-HHMMSS[-N].avi in
// local time, relative to the camera's storage folder. Thread-safe; nothing is logged.
#pragma once

#include <cstdint>
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

/// What the file takes on its disk, in bytes; 0 when there is none.
WATCHPOST_API std::uint64_t DiskUsage(const std::string& path) noexcept;

/// Name of the file of a recording that begins at `when`; with `number` above 1 the -2, -3, ... of
/// one whose name is taken: local time repeats an hour in autumn. Characters of the prefix that
/// cannot stand in a name become '_'.
WATCHPOST_API std::string RecordingName(const std::string& prefix, time_t when, int number);

/// Whether a file of that name can be a recording.
WATCHPOST_API bool IsRecordingName(const std::string& name);

/// When a recording began by its file's name: seconds since the epoch; the first of two such
/// moments where summer time ends. Nothing for other names.
WATCHPOST_API std::optional<long> StartOfRecording(const std::string& name) noexcept;

/// Bytes as a row has them: 2 GiB less one stands for more.
WATCHPOST_API int RowSize(std::uint64_t bytes) noexcept;

/// Frames a second, as a file's header has them, of so many frames from the first to the last of
/// which `seconds` pass; `usual` when these do not say.
WATCHPOST_API std::uint16_t FrameRate(int frames, double seconds, int usual) noexcept;

}  // namespace watchpost
