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
  kFound,   ///< there was a row already: nothing was inserted
  kFailed,  ///< the database did not run it
};

/// Inserts a row unless the camera has one for that path, which is kFound, and gives the event the
/// id of its row either way. Whoever inserts through here, at whatever moment, never makes a second
/// row.
[[nodiscard]] WATCHPOST_API StoreResult InsertEvent(Event& event) noexcept;

/// Rewrites what changes while a recording grows: start, stop, frames and size. Others may have
/// archived it meanwhile. The row is the one of the event's id, camera and path: after a restore of
/// the database an id may be another recording's.
[[nodiscard]] WATCHPOST_API StoreResult UpdateGrowth(const Event& event) noexcept;

/// Rewrites a row to what `event` says if it still is as `seen` has it, and kNoRow otherwise.
[[nodiscard]] WATCHPOST_API StoreResult UpdateIfUnchanged(const Event& seen,
                                                          const Event& event) noexcept;

/// Removes a row if it still is as `seen` has it, and kNoRow otherwise. No file is touched.
[[nodiscard]] WATCHPOST_API StoreResult RemoveIfUnchanged(const Event& seen) noexcept;

/// Removes the rows of files that have been removed, whatever they say by now; kNoRow when there is
/// none.
[[nodiscard]] WATCHPOST_API StoreResult RemoveRows(const std::vector<Event>& events) noexcept;

/// Removes all rows of a camera; kDone also when it has none. No file is touched.
[[nodiscard]] WATCHPOST_API StoreResult RemoveEvents(int camera_id) noexcept;

/// Reads the row of camera `camera_id` whose file is `path`, the newest of several.
[[nodiscard]] WATCHPOST_API StoreResult FindEvent(int camera_id,
                                                  const std::string& path,
                                                  Event& event) noexcept;

/// The same for the file `path` of whichever camera records into `folder`: cameras of earlier
/// versions may share one. Nothing is read when several have a row for it.
[[nodiscard]] WATCHPOST_API StoreResult FindRowOfFile(const std::string& folder,
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
