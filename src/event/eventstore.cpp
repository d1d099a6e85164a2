#include "event/eventstore.h"

#include "base/utils.h"
#include "database/statement.h"
#include "database/wpdb.h"

namespace watchpost {
namespace {

std::string From() {
  return std::string(" FROM ") + gszTableEvent;
}

// Runs a statement that returns ids, and takes the first.
StoreResult AskId(const std::string& sql, int& id) {
  const ResultPtr result = Query(sql);
  if (result == nullptr) return StoreResult::kFailed;
  RowCursor rows(result.get());
  if (!rows.Next()) return StoreResult::kNoRow;
  id = rows.Get().Int("id");
  return StoreResult::kDone;
}

}  // namespace

StoreResult InsertEvent(Event& event) noexcept {
  int id = 0;
  const StoreResult result = AskId(event.strSqlInsert(), id);
  if (result == StoreResult::kDone) event.SetID(id);
  return result;
}

StoreResult UpdateGrowth(const Event& event) noexcept {
  int id = 0;
  return AskId(std::string("UPDATE ") + gszTableEvent +
                   " SET start_time = " + itos(event.GetStartTime()) +
                   ", stop_time = " + itos(event.GetStopTime()) +
                   ", framecount = " + itos(event.GetFrameCount()) +
                   ", filesize = " + itos(event.GetSize()) + " WHERE id = " + itos(event.GetID()) +
                   " RETURNING id",
               id);
}

StoreResult FindInserted(Event& event) noexcept {
  int id = 0;
  const StoreResult result =
      AskId("SELECT id" + From() + " WHERE camera_id = " + itos(event.GetCameraID()) +
                " AND start_time = " + itos(event.GetStartTime()) + " AND path = '" +
                WPDBEscapeString(event.GetPath()) + "'",
            id);
  if (result == StoreResult::kDone) event.SetID(id);
  return result;
}

StoreResult FindEvent(int camera_id, const std::string& path, Event& event) noexcept {
  const ResultPtr result = Query("SELECT *" + From() + " WHERE camera_id = " + itos(camera_id) +
                                 " AND path = '" + WPDBEscapeString(path) +
                                 "' ORDER BY id DESC LIMIT 1");
  if (result == nullptr) return StoreResult::kFailed;
  RowCursor rows(result.get());
  if (!rows.Next()) return StoreResult::kNoRow;
  (void)event.PutRowIntoObj(result.get(), rows.Index());  // there is a result
  return StoreResult::kDone;
}

std::optional<std::vector<Event>> ReadEvents(int camera_id) noexcept {
  const ResultPtr result = Query("SELECT *" + From() + " WHERE camera_id = " + itos(camera_id));
  if (result == nullptr) return std::nullopt;
  std::vector<Event> events;
  for (RowCursor rows(result.get()); rows.Next();)
    (void)events.emplace_back().PutRowIntoObj(result.get(), rows.Index());  // there is a result
  return events;
}

std::optional<std::map<int, EventUsage>> ReadUsage(std::int64_t from, std::int64_t until) noexcept {
  const ResultPtr result =
      Query("SELECT camera_id, count(*) AS recordings, sum(filesize) AS bytes" + From() +
            " WHERE start_time >= " + itos(from) + " AND start_time < " + itos(until) +
            " GROUP BY camera_id");
  if (result == nullptr) return std::nullopt;
  std::map<int, EventUsage> usage;
  for (RowCursor rows(result.get()); rows.Next();) {
    const Row row = rows.Get();
    usage[row.Int("camera_id")] = {row.LongLong("recordings"), row.LongLong("bytes")};
  }
  return usage;
}

}  // namespace watchpost
