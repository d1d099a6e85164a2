#include "event/rotationplan.h"

#include <cstdint>

#include "event/rotatefilter_internal.h"
#include "foundation/dbrow_internal.h"
#include "foundation/utils.h"
#include "foundation/wpdb.h"

namespace watchpost {
namespace {

constexpr double kBytesPerMB = 1048576.0;

bool ReadTotal(int camera_id, double& total) {
  const ResultPtr result = Query(std::string("SELECT sum(filesize) FROM ") + gszTableEvent +
                                 BuildRotateFilter(0, camera_id, 0, 0, -1));
  RowCursor rows(result.get());
  if (!rows.Next()) return false;
  total = TransformFromByteToMB(static_cast<unsigned long long>(rows.Row().Long("sum")));
  return true;
}

// All that may go, the oldest first.
bool ReadCandidates(int camera_id, std::list<Event>& candidates) {
  const ResultPtr result = Query(std::string("SELECT * FROM ") + gszTableEvent +
                                 BuildRotateFilter(0, camera_id, 0, 0, 0) + " order by stop_time");
  if (result == nullptr) return false;
  for (RowCursor rows(result.get()); rows.Next();)
    (void)candidates.emplace_back().PutRowIntoObj(result.get(), rows.Index());  // has a result
  return true;
}

}  // namespace

bool PlanRotation(
    const Camera& camera, int sizeLimitMB, int daysLimit, long now, RotationPlan& plan) noexcept {
  std::list<Event> candidates;
  if (!ReadTotal(camera.GetId(), plan.total) || !ReadCandidates(camera.GetId(), candidates))
    return false;
  const bool empty = sizeLimitMB > 0 && plan.total <= 0;
  plan.excess = sizeLimitMB > 0 ? plan.total - sizeLimitMB : 0;
  plan.cutoff = daysLimit > 0 && !empty ? RotationCutoff(now, daysLimit) : 0;
  if (!candidates.empty()) {
    const std::string newest = camera.GetStoragePath() + "/" + candidates.back().GetPath();
    if (IsFileLocked(newest.c_str()) != 0) candidates.pop_back();
  }
  const auto target =
      plan.excess > 0 ? static_cast<std::int64_t>(plan.excess * kBytesPerMB) : std::int64_t{0};
  std::int64_t bytes = 0;
  long last = 0;
  for (Event& event : candidates) {
    // Rows that end in the same second as the last one that is removed go with it.
    const bool by_size = bytes < target || (last != 0 && event.GetStopTime() <= last);
    if (by_size) {
      bytes += event.GetSize();
      last = event.GetStopTime();
    } else if (plan.cutoff == 0 || event.GetStopTime() > plan.cutoff) {
      break;
    }
    plan.removals.push_back({event, by_size ? RotationRule::kSize : RotationRule::kDays});
  }
  return true;
}

}  // namespace watchpost
