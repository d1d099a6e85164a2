#include "event/rotatefilter_internal.h"

#include <time.h>

#include <algorithm>

#include "foundation/utils.h"

std::string BuildRotateFilter(
    int id, int cameraId, long startTime, long stopTime, int archived) noexcept {
  if (cameraId == 0 && startTime == 0 && stopTime == 0) return "";
  std::string filter = " WHERE";
  const auto add = [&filter](const std::string& condition) {
    if (!filter.ends_with("WHERE")) filter += " AND";
    filter += condition;
  };
  if (id != 0) add(" id<=" + itos(id));
  if (cameraId != 0) add(" camera_id=" + itos(cameraId));
  if (startTime != 0) add(" start_time>=" + itos(startTime));
  if (stopTime != 0) add(" stop_time<=" + itos(stopTime));
  if (archived >= 0) add(std::string(" archived=") + (archived == 1 ? "true" : "false"));
  return filter;
}

namespace watchpost {

long RotationCutoff(long now, int days) noexcept {
  constexpr long kDay = 86400;
  const int span = DayToSecond(days);
  // Days beyond 32 bits of seconds come out as any number, a few hours among them.
  if (days < 0 || span != days * kDay) return 0;
  const time_t day = now - span;
  tm local{};
  if (localtime_r(&day, &local) == nullptr) return 0;
  local.tm_sec = 0;
  local.tm_min = 0;
  local.tm_hour = 0;
  local.tm_isdst = -1;  // midnight may lie on the other side of a change of the clocks
  const time_t midnight = mktime(&local);
  return midnight < now ? std::max<long>(midnight, 0) : 0;
}

}  // namespace watchpost
