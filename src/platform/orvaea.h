// Named streams attached to files: stream S of file D/F is the file D/@eaDir/F/S. Process-shared.
#pragma once

#include "base/export.h"

extern "C" {

/// Opens stream `stream` of the file at `path` with open(2)'s `flags`; with O_CREAT the folders are
/// made and the stream gets mode 0644. Symbolic links are not followed. The file itself need not
/// exist. Returns a descriptor that the caller closes, or -1 with errno set.
WATCHPOST_API int ORVAEAOpen(const char* path, const char* stream, int flags) noexcept;

/// Removes all streams of the file at `path`, and the "@eaDir" beside it when that is left empty.
/// Returns 0 when nothing is left (also when there was nothing), else -1.
WATCHPOST_API int ORVAEARemove(const char* path) noexcept;

}  // extern "C"

namespace watchpost {

/// The folder beside a file that holds the streams.
inline constexpr char kStreamFolder[] = "@eaDir";

}  // namespace watchpost
