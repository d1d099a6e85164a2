#include "event/eventutils.h"

#include "base/utils.h"
#include "database/statement.h"

namespace {

void AddCondition(std::string& clause, const char* condition, int value) {
  if (value == 0) return;
  clause += clause.empty() ? " WHERE" : " AND";
  clause += condition;
  clause += itos(value);
}

}  // namespace

std::string BuildEventFilter(int cameraId,
                             int startTime,
                             int stopTime,
                             EVENT_CAUSE cause) noexcept {
  std::string clause;
  AddCondition(clause, " camera_id = ", cameraId);
  AddCondition(clause, " start_time >= ", startTime);
  AddCondition(clause, " stop_time <= ", stopTime);
  AddCondition(clause, " cause = ", cause);
  return clause;
}

int GetEventCount(int cameraId, int startTime, int stopTime, EVENT_CAUSE cause) noexcept {
  const watchpost::ResultPtr result = watchpost::Query(
      "SELECT count(*) FROM event" + BuildEventFilter(cameraId, startTime, stopTime, cause));
  watchpost::RowCursor rows(result.get());
  return rows.Next() ? rows.Get().Int("count") : 0;
}

std::list<Event> GetEvents(
    int offset, int limit, int cameraId, int startTime, int stopTime, EVENT_CAUSE cause) noexcept {
  std::list<Event> events;
  const watchpost::ResultPtr result = watchpost::Query(
      "SELECT * FROM event" + BuildEventFilter(cameraId, startTime, stopTime, cause) +
      " ORDER by start_time DESC " + " OFFSET " + itos(offset) + " LIMIT " + itos(limit));
  watchpost::RowCursor rows(result.get());
  while (rows.Next()) {
    Event event;
    (void)event.PutRowIntoObj(result.get(), rows.Index());  // there is a result
    events.push_back(event);
  }
  return events;
}

std::list<Event> GetEvents(std::list<int>& ids) noexcept {
  std::list<Event> events;
  for (const int id : ids) {
    const Event event(id);
    if (event.IsSaved()) events.push_back(event);
  }
  return events;
}

void EventFilter(int /*cameraId*/,
                 EVENT_CAUSE /*cause*/,
                 long /*startTime*/,
                 long /*stopTime*/) noexcept {}
