// What a rotation run would remove, without removing it. Thread-safe.
#pragma once

#include <list>
#include <string>

#include "camera/camera.h"
#include "event/event.h"
#include "platform/export.h"

namespace watchpost {

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

/// Looks at a camera's rows with limits in MiB and days, 0 for none, at the moment `now` (seconds
/// since the epoch). Returns false when the database cannot be read.
WATCHPOST_API bool PlanRotation(
    const Camera& camera, int sizeLimitMB, int daysLimit, long now, RotationPlan& plan) noexcept;

}  // namespace watchpost
