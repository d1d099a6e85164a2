// Moments as people write and read them: on the local clock.
#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace wpctl {

inline constexpr long kMinute = 60;  // seconds
inline constexpr long kDay = 86400;

/// Seconds since the epoch; `now` is what today and ago count from. A day without a time is its
/// first second or, with `end_of_day`, its last. Nothing for any other text.
std::optional<long> ParseTime(const std::string& text, long now, bool end_of_day);

/// What a text can mean, for helps.
inline constexpr char kTimeHelp[] =
    "\"2026-11-23 14:00\", \"2026-11-23\", \"14:00\", \"yesterday 14:00\", \"today\", \"now\", "
    "\"90m ago\" (s, m, h, d) or \"@SECONDS\" since the epoch; times are local";

/// The same as ParseTime for an option, from the present moment: 0 for an empty text. False, with
/// `error` saying what is right, when it cannot be read.
bool ParseBound(const std::string& text, bool end_of_day, long& seconds, std::string& error);

/// A moment on the local clock.
tm ToLocal(long seconds);

/// A moment on the local clock as strftime's `format` says, 63 bytes at most.
std::string FormatTime(long seconds, const char* format);

/// "2026-11-23 14:00:05".
std::string LocalTime(long seconds);

/// "1:02:03".
std::string Duration(long seconds);

}  // namespace wpctl
