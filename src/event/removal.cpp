#include "event/removal.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

#include "base/utils.h"
#include "database/statement.h"
#include "database/wpdb.h"
#include "event/eventfiles.h"
#include "event/eventstore.h"
#include "event/recordingfile.h"

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
namespace {

constexpr int kNotArchived = 0;
constexpr int kAnyArchived = -1;
constexpr double kBytesPerMB = 1048576.0;
constexpr std::uint64_t kEverything = std::numeric_limits<std::uint64_t>::max();

// What may be removed, the oldest first, as far as the columns show; nothing when the database
// cannot be read.
std::optional<std::vector<Event>> ReadOldest(const char* columns,
                                             int camera_id,
                                             long cutoff,
                                             const std::string& limit) {
  const ResultPtr result = Query(std::string("SELECT ") + columns + " FROM " + gszTableEvent +
                                 BuildRotateFilter(0, camera_id, 0, cutoff, kNotArchived) +
                                 " order by stop_time" + limit);
  if (result == nullptr) return std::nullopt;
  std::vector<Event> oldest;
  for (RowCursor rows(result.get()); rows.Next();)
    (void)oldest.emplace_back().PutRowIntoObj(result.get(), rows.Index());  // there is a result
  return oldest;
}

std::string Limit(int most) {
  return " limit " + itos(most);
}

// Which of the oldest go until `bytes` are gone. One that is being written stays: clocks step, so
// it may stand anywhere in the order. When it is the last of them, nothing behind it is waited for.
std::vector<const Event*> ChooseOldest(const std::vector<Event>& oldest,
                                       const std::string& folder,
                                       std::uint64_t bytes) {
  std::vector<const Event*> chosen;
  std::uint64_t gone = 0;
  for (const Event& event : oldest) {
    if (gone >= bytes) break;
    if (IsFileLocked(JoinRecordingPath(folder, event.GetPath()).c_str()) != 0) continue;
    chosen.push_back(&event);
    gone += static_cast<std::uint64_t>(event.GetSize());
  }
  return chosen;
}

// Files first, then rows.
RemovedBatch Remove(int camera_id,
                    const std::string& folder,
                    const std::vector<Event>& oldest,
                    std::uint64_t bytes) {
  RemovedBatch batch;
  batch.rows = static_cast<int>(oldest.size());
  long last_stop = 0;
  for (const Event* event : ChooseOldest(oldest, folder, bytes)) {
    // A row that leads out of the folder goes without the file.
    if (const auto path = RecordingPath(folder, event->GetPath()))
      (void)RemoveEventFile(path->c_str());
    last_stop = event->GetStopTime();
    batch.bytes += static_cast<std::uint64_t>(event->GetSize());
    ++batch.removed;
  }
  // Rows without a stop time are never removed by it, and would be found again at once.
  batch.stalled = batch.removed > 0 && last_stop == 0;
  if (last_stop == 0) return batch;
  batch.stalled = WPDBExecute(std::string("DELETE FROM ") + gszTableEvent +
                              BuildRotateFilter(0, camera_id, 0, last_stop, kNotArchived)) != 0;
  return batch;
}

}  // namespace

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

bool ReadTotalSize(int camera_id, double& total) noexcept {
  const ResultPtr result = Query(std::string("SELECT sum(filesize) FROM ") + gszTableEvent +
                                 BuildRotateFilter(0, camera_id, 0, 0, kAnyArchived));
  RowCursor rows(result.get());
  if (!rows.Next()) return false;
  total = TransformFromByteToMB(static_cast<unsigned long long>(rows.Get().LongLong("sum")));
  return true;
}

RemovedBatch RemoveOldest(int camera_id,
                          const std::string& folder,
                          std::uint64_t bytes,
                          int most) noexcept {
  const auto oldest = ReadOldest("stop_time,path,filesize", camera_id, 0, Limit(most));
  return oldest ? Remove(camera_id, folder, *oldest, bytes) : RemovedBatch();
}

RemovedBatch RemoveEndedBy(int camera_id,
                           const std::string& folder,
                           long cutoff,
                           int most) noexcept {
  const auto oldest = ReadOldest("stop_time,path", camera_id, cutoff, Limit(most));
  return oldest ? Remove(camera_id, folder, *oldest, kEverything) : RemovedBatch();
}

// A row goes with a file that was seen and removed, and with no other: a disk may be missing.
RemovedFiles RemoveOldestFiles(const Camera& camera, std::uint64_t bytes) noexcept {
  constexpr int kMost = 1000;
  RemovedFiles removed;
  const auto oldest = ReadOldest("*", camera.GetId(), 0, Limit(kMost));
  if (!oldest) return removed;
  std::vector<Event> rows;
  for (const Event& event : *oldest) {
    if (removed.bytes >= bytes) break;
    const auto path = RecordingPath(camera, event);
    if (!path || access(path->c_str(), F_OK) != 0 || IsFileLocked(path->c_str()) != 0) continue;
    // A disk may say that a small file takes nothing: it counts all the same.
    const std::uint64_t size =
        std::max({DiskUsage(*path), static_cast<std::uint64_t>(event.GetSize()), std::uint64_t{1}});
    if (RemoveEventFile(path->c_str()) != 0) continue;
    removed.bytes += size;
    ++removed.count;
    rows.push_back(event);
  }
  (void)RemoveRows(rows);  // "wpctl storage check" finds a row that stays
  return removed;
}

bool PlanRotation(
    const Camera& camera, int sizeLimitMB, int daysLimit, long now, RotationPlan& plan) noexcept {
  const auto oldest = ReadOldest("*", camera.GetId(), 0, "");
  if (!oldest || !ReadTotalSize(camera.GetId(), plan.total)) return false;
  const std::string folder = camera.GetStoragePath();
  const bool empty = sizeLimitMB > 0 && plan.total <= 0;
  plan.excess = sizeLimitMB > 0 ? plan.total - sizeLimitMB : 0;
  plan.cutoff = daysLimit > 0 && !empty ? RotationCutoff(now, daysLimit) : 0;
  const auto target =
      plan.excess > 0 ? static_cast<std::uint64_t>(plan.excess * kBytesPerMB) : std::uint64_t{0};
  const auto by_size = ChooseOldest(*oldest, folder, target);
  const long last = by_size.empty() ? 0 : by_size.back()->GetStopTime();
  bool for_size = !by_size.empty();
  for (const Event* event : ChooseOldest(*oldest, folder, kEverything)) {
    // Rows that end in the same second as the last one that is removed go with it.
    for_size = for_size && event->GetStopTime() <= last;
    if (!for_size && (plan.cutoff == 0 || event->GetStopTime() > plan.cutoff)) break;
    plan.removals.push_back({*event, for_size ? RotationRule::kSize : RotationRule::kDays});
  }
  return true;
}

}  // namespace watchpost
