#include "event/eventstore.h"

#include "base/utils.h"
#include "database/statement.h"
#include "database/wpdb.h"

namespace watchpost {
namespace {

std::string From() {
  return std::string(" FROM ") + gszTableEvent;
}

std::string Update() {
  return std::string("UPDATE ") + gszTableEvent;
}

// The row of an event.
std::string Same(const Event& event) {
  return "id = " + itos(event.GetID()) + " AND camera_id = " + itos(event.GetCameraID()) +
         " AND path = '" + WPDBEscapeString(event.GetPath()) + "'";
}

std::string Unchanged(const Event& seen) {
  return Same(seen) + " AND start_time = " + itos(seen.GetStartTime()) +
         " AND stop_time = " + itos(seen.GetStopTime()) +
         " AND framecount = " + itos(seen.GetFrameCount()) +
         " AND filesize = " + itos(seen.GetSize());
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

StoreResult ReadOne(const std::string& sql, Event& event) {
  const ResultPtr result = Query(sql);
  if (result == nullptr) return StoreResult::kFailed;
  RowCursor rows(result.get());
  if (ORVADBNumRows(result.get()) != 1 || !rows.Next()) return StoreResult::kNoRow;
  (void)event.PutRowIntoObj(result.get(), rows.Index());  // there is a result
  return StoreResult::kDone;
}

}  // namespace

// Under a lock of the camera's, which ends with the connection: two who insert at the same moment
// come one after the other, and the second finds the first one's row.
StoreResult InsertEvent(Event& event) noexcept {
  constexpr int kLockClass = 0x7770;  // of this library's advisory locks
  const std::string path = "'" + WPDBEscapeString(event.GetPath()) + "'";
  const std::string camera = itos(event.GetCameraID());
  const std::string same = " WHERE camera_id = " + camera + " AND path = " + path;
  const ResultPtr result = Query(
      "SELECT pg_advisory_lock(" + itos(kLockClass) + ", " + camera +
      "); WITH found AS (SELECT id" + From() + same + " ORDER BY id LIMIT 1), added AS (INSERT " +
      "INTO " + gszTableEvent +
      " (camera_id, video_width, video_height, start_time, stop_time, framecount, cause, "
      "archived, path, filesize) SELECT " +
      camera + ", " + itos(event.GetVideoWidth()) + ", " + itos(event.GetVideoHeight()) + ", " +
      itos(event.GetStartTime()) + ", " + itos(event.GetStopTime()) + ", " +
      itos(event.GetFrameCount()) + ", " + itos(event.GetCause()) + ", " +
      (event.GetArchived() ? "true" : "false") + ", " + path + ", " + itos(event.GetSize()) +
      " WHERE NOT EXISTS (SELECT 1 FROM found) RETURNING id) SELECT id, 0 AS found FROM added "
      "UNION ALL SELECT id, 1 FROM found");
  if (result == nullptr) return StoreResult::kFailed;
  RowCursor rows(result.get());
  if (!rows.Next()) return StoreResult::kFailed;
  event.SetID(rows.Get().Int("id"));
  return rows.Get().Int("found") == 0 ? StoreResult::kDone : StoreResult::kFound;
}

StoreResult UpdateGrowth(const Event& event) noexcept {
  int id = 0;
  return AskId(Update() + " SET start_time = " + itos(event.GetStartTime()) + ", stop_time = " +
                   itos(event.GetStopTime()) + ", framecount = " + itos(event.GetFrameCount()) +
                   ", filesize = " + itos(event.GetSize()) + " WHERE " + Same(event) +
                   " RETURNING id",
               id);
}

StoreResult UpdateIfUnchanged(const Event& seen, const Event& event) noexcept {
  int id = 0;
  return AskId(Update() + " SET start_time = " + itos(event.GetStartTime()) + ", stop_time = " +
                   itos(event.GetStopTime()) + ", framecount = " + itos(event.GetFrameCount()) +
                   ", video_width = " + itos(event.GetVideoWidth()) + ", video_height = " +
                   itos(event.GetVideoHeight()) + ", filesize = " + itos(event.GetSize()) +
                   " WHERE " + Unchanged(seen) + " RETURNING id",
               id);
}

StoreResult RemoveIfUnchanged(const Event& seen) noexcept {
  int id = 0;
  return AskId("DELETE" + From() + " WHERE " + Unchanged(seen) + " RETURNING id", id);
}

StoreResult RemoveRows(const std::vector<Event>& events) noexcept {
  if (events.empty()) return StoreResult::kNoRow;
  std::string any;
  for (const Event& event : events) any += (any.empty() ? "(" : " OR (") + Same(event) + ")";
  int id = 0;
  return AskId("DELETE" + From() + " WHERE " + any + " RETURNING id", id);
}

StoreResult RemoveEvents(int camera_id) noexcept {
  const ResultPtr result = Query("DELETE" + From() + " WHERE camera_id = " + itos(camera_id));
  return result == nullptr ? StoreResult::kFailed : StoreResult::kDone;
}

StoreResult FindEvent(int camera_id, const std::string& path, Event& event) noexcept {
  return ReadOne("SELECT *" + From() + " WHERE camera_id = " + itos(camera_id) + " AND path = '" +
                     WPDBEscapeString(path) + "' ORDER BY id DESC LIMIT 1",
                 event);
}

StoreResult FindRowOfFile(const std::string& folder,
                          const std::string& path,
                          Event& event) noexcept {
  return ReadOne("SELECT *" + From() + " WHERE path = '" + WPDBEscapeString(path) +
                     "' AND camera_id IN (SELECT id FROM " + gszTableCamera +
                     " WHERE recording_path = '" + WPDBEscapeString(folder) + "')",
                 event);
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
