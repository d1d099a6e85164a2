// The appliance's own event log, which its user reads. Thread-safe and process-shared.
#pragma once

#include "base/export.h"

extern "C" {

/// Appends one event to "/var/log/orva/event.log" as a line of JSON: time, program, the identifiers
/// given, the arguments, and the English text of the messages known here. The same line goes to the
/// system log at priority LOG_INFO. Null arguments count as empty. Never fails the caller: returns
/// 0 when the line was written to the file, -1 when it could not be.
WATCHPOST_API int ORVALogSet1(int log,
                              int level,
                              unsigned int message,
                              const char* a1,
                              const char* a2,
                              const char* a3,
                              const char* a4) noexcept;

}  // extern "C"
