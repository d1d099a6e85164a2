// From a recording's file back to its row. Thread-safe.
#pragma once

#include <optional>
#include <string>

#include "event/event.h"
#include "platform/export.h"

namespace watchpost {

/// The row of camera `camera_id` whose file is `path`, relative to the camera's folder; the newest
/// of several. Not stored when there is none, or when the database cannot be read.
WATCHPOST_API Event FindEvent(int camera_id, const std::string& path) noexcept;

/// Whether a recording's path, relative to its camera's folder, leads to a file inside that folder:
/// a row may hold anything.
WATCHPOST_API bool IsInFolder(const std::string& path) noexcept;

/// When a recording began by its file's name, PREFIXYYYYMMDD-HHMMSS[-N].avi in local time: seconds
/// since the epoch; the first of two such moments where summer time ends. Nothing for other names.
WATCHPOST_API std::optional<long> StartOfRecording(const std::string& name) noexcept;

}  // namespace watchpost
