// Options that choose recordings, as "event list", "event count" and "event delete" take them.
#pragma once

#include <watchpost/event/event.h>

#include <list>
#include <string>

#include "verb.h"

namespace wpctl {

struct EventFilter {
  std::string camera;  // id or name; empty for all
  std::string cause;   // "", "continuous" or "motion"
  std::string from;
  std::string until;
};

/// A filter as queries take it.
struct EventQuery {
  int camera_id = 0;
  int from = 0;
  int until = 0;
  EVENT_CAUSE cause = EVENT_CAUSE_ANY;
};

void AddFilter(const Command& verb, EventFilter& filter);

/// Fills `query`. Prints what is wrong and returns the status to exit with, kDone when all is
/// right.
int Understand(const EventFilter& filter, EventQuery& query);

/// How many recordings match, and `limit` of them, newest first, after skipping `offset`.
int CountOf(const EventQuery& query);
std::list<Event> EventsOf(const EventQuery& query, int offset, int limit);

}  // namespace wpctl
