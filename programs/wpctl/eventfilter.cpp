#include "eventfilter.h"

#include <watchpost/event/eventutils.h>

#include <algorithm>
#include <optional>

#include "cameras.h"
#include "report.h"
#include "timetext.h"

namespace wpctl {
namespace {

EVENT_CAUSE CauseOf(const std::string& name) {
  if (name == "continuous") return EVENT_CAUSE_CONTINUOUS;
  return name == "motion" ? EVENT_CAUSE_MOTION : EVENT_CAUSE_ANY;
}

// A bound that was given is never 0, which means none.
bool ParseQueryBound(const std::string& text, bool end_of_day, int& bound, std::string& error) {
  long seconds = 0;
  if (!ParseBound(text, end_of_day, seconds, error)) return false;
  if (!text.empty()) bound = static_cast<int>(std::clamp<long>(seconds, 1, INT32_MAX));
  return true;
}

}  // namespace

void AddFilter(const Command& verb, EventFilter& filter) {
  verb.Add("--camera", filter.camera, "Only those of this camera (id or name)");
  verb.Add("--cause", filter.cause, "Only those made for this reason")
      .OneOf({"continuous", "motion"});
  verb.Add("--from", filter.from, "Only those that begin at this time or later");
  verb.Add("--until", filter.until, "Only those that end at this time or earlier");
}

int Understand(const EventFilter& filter, EventQuery& query) {
  std::string error;
  if (!ParseQueryBound(filter.from, false, query.from, error) ||
      !ParseQueryBound(filter.until, true, query.until, error))
    return WrongUsage(error);
  if (!filter.camera.empty()) {
    const std::optional<Camera> camera = FindCamera(filter.camera);
    if (!camera) return kFailed;
    query.camera_id = camera->GetId();
  } else if (!RequireDatabase()) {
    return kFailed;
  }
  query.cause = CauseOf(filter.cause);
  return kDone;
}

int CountOf(const EventQuery& query) {
  return GetEventCount(query.camera_id, query.from, query.until, query.cause);
}

std::list<Event> EventsOf(const EventQuery& query, int offset, int limit) {
  return GetEvents(offset, limit, query.camera_id, query.from, query.until, query.cause);
}

}  // namespace wpctl
