// Entries of the appliance's event log, which its user reads. Thread-safe and process-shared.
#pragma once

#include <cstdint>

#include "base/export.h"

/// Message identifiers of the event log. Values beyond the named ones are passed on as they are.
enum WP_LOG_TYPE : std::uint32_t {
  WP_LOG_ROTATED_BY_DATE = 0x13300012,   ///< camera name, number of recordings removed
  WP_LOG_ROTATED_BY_SIZE = 0x13300013,   ///< camera name, number of recordings removed
  WP_LOG_EVENT_DELETED = 0x13300023,     ///< path of the recording
  WP_LOG_REMOVED_FOR_ROOM = 0x13300014,  ///< camera name, number of recordings removed
};

/// Writes one entry. Arguments that a message does not need are empty texts, never null.
/// Returns 0 whatever became of the entry.
WATCHPOST_API int WPLog(
    WP_LOG_TYPE type, const char* a1, const char* a2, const char* a3, const char* a4) noexcept;
