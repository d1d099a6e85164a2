// Diagnostics for the operator, in the system log. Thread-safe.
#pragma once

#include <syslog.h>

/// Writes one line at priority LOG_ERR: source name, line and function of the caller, then the
/// message. The source says its name as `constexpr char kLogSource[]`. `message` is a literal
/// format of syslog(3); what comes from outside is always an argument, never part of it.
#define WP_LOG(message, ...) \
  syslog(LOG_ERR, "%s:%d:%s(): " message, kLogSource, __LINE__, __func__ __VA_OPT__(, ) __VA_ARGS__)
