// Counting, listing and motion timelines of recordings. Thread-safe; every query uses a connection
// of its own. Failures are silent. In every filter 0 means no condition; times are seconds since
// the epoch, inclusive, and select recordings that lie wholly inside them.
#pragma once

#include <list>
#include <string>

#include "base/export.h"
#include "event/event.h"

/// The WHERE clause of a filter, with a leading blank; empty without conditions.
WATCHPOST_API std::string BuildEventFilter(int cameraId,
                                           int startTime,
                                           int stopTime,
                                           EVENT_CAUSE cause) noexcept;

/// Number of recordings that match; 0 when the database cannot be read.
WATCHPOST_API int GetEventCount(int cameraId,
                                int startTime,
                                int stopTime,
                                EVENT_CAUSE cause) noexcept;

/// `limit` of the recordings that match, newest first, after skipping `offset`; empty when the
/// database cannot be read.
WATCHPOST_API std::list<Event> GetEvents(
    int offset, int limit, int cameraId, int startTime, int stopTime, EVENT_CAUSE cause) noexcept;

/// The recordings of these ids, in their order, less those that do not exist. One query an id.
WATCHPOST_API std::list<Event> GetEvents(std::list<int>& ids) noexcept;

/// Motion timeline of a recording whose file lies in `folder`. A slot is `interval` seconds,
/// aligned to multiples of it since the epoch, or one frame when `interval` is 0; flags[i] becomes
/// 1 for every slot with a frame whose level reaches 100 less the sensitivity that the log holds (0
/// when it holds none), and is not touched otherwise: clear the array first. Returns the number of
/// slots; -1 when that exceeds `maxSlots` (above 0), for a negative interval, for an interval above
/// 0 on a recording without a duration, and when the motion log cannot be read.
WATCHPOST_API int GetMotionLevel(
    Event& event, std::string folder, int interval, unsigned char* flags, int maxSlots) noexcept;

/// Does nothing; programs of old still call it.
WATCHPOST_API void EventFilter(int cameraId,
                               EVENT_CAUSE cause,
                               long startTime,
                               long stopTime) noexcept;
