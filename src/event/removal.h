// Which recordings of a camera are removed, and removing them: the oldest first, by the moment of
// their end. Whoever lets recordings go by a limit or for want of room does it by these functions.
// Archived recordings are never removed, nor is one that is being written. Thread-safe.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "base/export.h"
#include "camera/camera.h"
#include "event/event.h"

/// Conditions of a rotation's statement, from " WHERE" on: `id`, `cameraId`, `startTime` and
/// `stopTime` count when they are not 0, `archived` when it is not negative. Empty unless one of
/// cameraId, startTime and stopTime is given.
std::string BuildRotateFilter(
    int id, int cameraId, long startTime, long stopTime, int archived) noexcept;

namespace watchpost {

/// The local midnight that began the day `days` days before `now` (seconds since the epoch).
/// Recordings that had ended by then are too old. 0, which makes none too old, when that lies
/// before the epoch or the days in seconds exceed 32 bits.
long RotationCutoff(long now, int days) noexcept;

/// Size of all of a camera's recordings by their rows, archived ones too, in MiB. False when the
/// database cannot be read.
bool ReadTotalSize(int camera_id, double& total) noexcept;

/// One batch of removals.
struct RemovedBatch {
  int rows = 0;             ///< that were looked at
  int removed = 0;          ///< recordings
  std::uint64_t bytes = 0;  ///< theirs, by their rows
  bool stalled = false;     ///< nothing has changed: the next batch would find the same rows
};

/// Removes the files of up to `most` of the oldest recordings until `bytes` are gone, and then the
/// rows of all that end no later than the last of them: also those whose file stayed.
RemovedBatch RemoveOldest(int camera_id,
                          const std::string& folder,
                          std::uint64_t bytes,
                          int most) noexcept;

/// The same for up to `most` of those that had ended by `cutoff`.
RemovedBatch RemoveEndedBy(int camera_id,
                           const std::string& folder,
                           long cutoff,
                           int most) noexcept;

struct RemovedFiles {
  int count = 0;
  std::uint64_t bytes = 0;  ///< that they took on the disk
};

/// Makes room for want of it: removes the camera's oldest recordings whose files are there, file
/// and row, until `bytes` are free, some hundreds at most.
WATCHPOST_API RemovedFiles RemoveOldestFiles(const Camera& camera, std::uint64_t bytes) noexcept;

enum class RotationRule { kSize, kDays };

struct PlannedRemoval {
  Event event;
  RotationRule rule;
};

struct RotationPlan {
  double total = 0;   ///< MiB of all recordings, archived ones too
  double excess = 0;  ///< MiB above the limit of size, or not above 0
  long cutoff = 0;    ///< who had ended by then is too old (seconds since the epoch); 0 for nobody
  std::list<PlannedRemoval> removals;  ///< oldest first, those by size before those by days
};

/// What a rotation with limits in MiB and days, 0 for none, would remove at the moment `now`
/// (seconds since the epoch). Removes nothing. Returns false when the database cannot be read.
WATCHPOST_API bool PlanRotation(
    const Camera& camera, int sizeLimitMB, int daysLimit, long now, RotationPlan& plan) noexcept;

}  // namespace watchpost
