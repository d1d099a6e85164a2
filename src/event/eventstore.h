// Rows of recordings, for whoever keeps them in step with files: one statement a call. Thread-safe;
// nothing is logged, so that a database that is away is worth no more lines than the caller's own.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/export.h"
#include "event/event.h"

namespace watchpost {

enum class StoreResult {
  kDone,
  kNoRow,   ///< the statement ran, and there is no such row
  kFailed,  ///< the database did not run it
};

/// Inserts a row and gives the event its id.
[[nodiscard]] WATCHPOST_API StoreResult InsertEvent(Event& event) noexcept;

/// Rewrites what changes while a recording grows: start, stop, frames and size. Others may have
/// archived it meanwhile.
[[nodiscard]] WATCHPOST_API StoreResult UpdateGrowth(const Event& event) noexcept;

/// Gives the event the id of its row, by camera, start and path: an insert whose answer was lost may
/// have left one.
[[nodiscard]] WATCHPOST_API StoreResult FindInserted(Event& event) noexcept;

/// Reads the row of camera `camera_id` whose file is `path`, the newest of several.
[[nodiscard]] WATCHPOST_API StoreResult FindEvent(int camera_id,
                                                  const std::string& path,
                                                  Event& event) noexcept;

/// All rows of a camera, in no order; nothing when the database cannot be read.
[[nodiscard]] WATCHPOST_API std::optional<std::vector<Event>> ReadEvents(int camera_id) noexcept;

/// What the recordings of a camera come to.
struct EventUsage {
  std::int64_t recordings = 0;
  std::int64_t bytes = 0;
};

/// Of all recordings that began from `from` up to before `until` (seconds since the epoch), by
/// camera id; nothing when the database cannot be read.
[[nodiscard]] WATCHPOST_API std::optional<std::map<int, EventUsage>> ReadUsage(
    std::int64_t from, std::int64_t until) noexcept;

}  // namespace watchpost
