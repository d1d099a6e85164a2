// Reader of the appliance's key-value files. Thread-safe: every call reads the file afresh.
//
// "[section]" lines, "key=value" lines, comment lines that begin with '#' or ';'. Blanks around
// names, keys and values are dropped; a value may stand in double quotes. Names are case-sensitive
// and may hold blanks, colons and asterisks. A file of more than 1 MiB, or anything but a regular
// file, counts as unreadable.
#pragma once

#include "base/export.h"
#include "platform/olibszhash.h"

extern "C" {

/// Adds every key of a section to `*hash`. Returns the number of keys, or -1 when the file cannot
/// be read or holds no such section (`*hash` is then unchanged).
WATCHPOST_API int OLIBFileGetSection(const char* path,
                                     const char* section,
                                     OLIBSZHASH** hash) noexcept;

/// Copies the value of a key that stands before the first section into `buffer` of `size` bytes,
/// cut to fit and NUL-terminated. Returns the number of bytes stored less the NUL (0 for an empty
/// value), or -1 when the file or the key is missing. `flags` is ignored.
WATCHPOST_API int OLIBFileGetKeyValue(
    const char* path, const char* key, char* buffer, int size, int flags) noexcept;

/// For a forked child: closes every descriptor above 2 that it has inherited, so that no lock, file
/// or connection of its parent's lives on in it. The system log's socket is left alone: syslog(3)
/// would not notice that its number has come to mean something else.
WATCHPOST_API void ErrOLIBFileCloseLock() noexcept;

}  // extern "C"
