// Moments as people write them.
#pragma once

#include <optional>
#include <string>

namespace wpctl {

/// What a text can mean, for messages and helps.
inline constexpr char kTimeHelp[] =
    "\"2026-11-23 14:00\", \"2026-11-23\", \"14:00\", \"yesterday 14:00\", \"today\", \"now\", "
    "\"90m ago\" "
    "(s, m, h, d) or \"@SECONDS\" since the epoch; times are local";

/// Seconds since the epoch; `now` is what today and ago count from. A day without a time is its
/// first second or, with `end_of_day`, its last. Nothing for any other text.
std::optional<long> ParseTime(const std::string& text, long now, bool end_of_day);

}  // namespace wpctl
