// Which recordings rotation is about. Thread-safe.
#pragma once

#include <string>

/// Conditions of a statement, from " WHERE" on: `id`, `cameraId`, `startTime` and `stopTime` count
/// when they are not 0, `archived` when it is not negative. Empty unless one of the last three is
/// given.
std::string BuildRotateFilter(
    int id, int cameraId, long startTime, long stopTime, int archived) noexcept;

namespace watchpost {

/// The local midnight that began the day `days` days before `now` (seconds since the epoch).
/// Recordings that had ended by then are too old. 0, which makes none too old, when that lies
/// before the epoch or the days in seconds exceed 32 bits.
long RotationCutoff(long now, int days) noexcept;

}  // namespace watchpost
