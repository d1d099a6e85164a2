// Small functions that the other modules share. Thread-safe.
#pragma once

#include <sys/time.h>

#include <string>

#include "base/export.h"

/// `value` in decimal.
WATCHPOST_API std::string itos(long long value) noexcept;

/// Base64 (RFC 4648, section 4, without line breaks) of a NUL-terminated text. The caller frees the
/// result with free; null for null and when memory runs out.
WATCHPOST_API char* HttpBase64Encode(const char* text) noexcept;

/// 1 when another open file keeps an exclusive flock on `path`, else 0: shared locks, a null path,
/// and files that are missing or cannot be read count as not locked. Does not block.
WATCHPOST_API int IsFileLocked(const char* path) noexcept;

/// Microseconds from `from` to `to` in 32-bit arithmetic: wraps beyond about 2,147 s.
WATCHPOST_API int TimevalDiff(const timeval& from, const timeval& to) noexcept;

/// `days` in seconds, in 32-bit arithmetic: wraps beyond 24,855 days.
WATCHPOST_API int DayToSecond(int days) noexcept;

/// Bytes in MiB, exact for sizes below 2^51 bytes.
WATCHPOST_API double TransformFromByteToMB(unsigned long long bytes) noexcept;
WATCHPOST_API double TransByteToMB(long long bytes) noexcept;
