#include "timetext.h"

#include <array>
#include <cstdio>

namespace wpctl {
namespace {

struct Day {
  int year, month, day;  // as in tm
};

std::optional<long> ToSeconds(const Day& day, int hour, int minute, int second) {
  tm local{};
  local.tm_year = day.year;
  local.tm_mon = day.month;
  local.tm_mday = day.day;
  local.tm_hour = hour;
  local.tm_min = minute;
  local.tm_sec = second;
  local.tm_isdst = -1;  // the time zone says
  const time_t seconds = std::mktime(&local);
  if (seconds == -1) return std::nullopt;
  return seconds;
}

// "14", "14:00" or "14:00:05", all of `text`.
bool ParseClock(const std::string& text, int& hour, int& minute, int& second) {
  const int length = static_cast<int>(text.size());
  int end = 0;
  minute = second = 0;
  if (std::sscanf(text.c_str(), "%2d:%2d:%2d%n", &hour, &minute, &second, &end) != 3 ||
      end != length) {
    second = 0;
    if (std::sscanf(text.c_str(), "%2d:%2d%n", &hour, &minute, &end) != 2 || end != length)
      return false;
  }
  return hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 && second <= 59;
}

// "today", "yesterday" or "2026-11-23"; mktime makes sense of the day before the first.
std::optional<Day> ParseDay(const std::string& text, long now) {
  const time_t seconds = now;
  tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return std::nullopt;
  const Day today{local.tm_year, local.tm_mon, local.tm_mday};
  if (text == "today") return today;
  if (text == "yesterday") return Day{today.year, today.month, today.day - 1};
  int year = 0;
  int month = 0;
  int day = 0;
  int end = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%n", &year, &month, &day, &end) != 3 ||
      end != static_cast<int>(text.size()) || year < 1970 || month < 1 || month > 12 || day < 1 ||
      day > 31) {
    return std::nullopt;
  }
  return Day{year - 1900, month - 1, day};
}

std::optional<long> ParseAgo(const std::string& text, long now) {
  long count = 0;
  char unit = 0;
  int end = 0;
  if (std::sscanf(text.c_str(), "%9ld%c ago%n", &count, &unit, &end) != 2 ||
      end != static_cast<int>(text.size()) || count < 0) {
    return std::nullopt;
  }
  switch (unit) {
    case 's':
      return now - count;
    case 'm':
      return now - count * kMinute;
    case 'h':
      return now - count * 3600;
    case 'd':
      return now - count * kDay;
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<long> ParseTime(const std::string& text, long now, bool end_of_day) {
  if (text == "now") return now;
  if (text.ends_with(" ago")) return ParseAgo(text, now);
  long epoch = 0;
  int end = 0;
  if (std::sscanf(text.c_str(), "@%12ld%n", &epoch, &end) == 1 &&
      end == static_cast<int>(text.size()))
    return epoch;
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (ParseClock(text, hour, minute, second))
    return ToSeconds(*ParseDay("today", now), hour, minute, second);
  if (const std::optional<Day> day = ParseDay(text, now)) {
    if (!end_of_day) return ToSeconds(*day, 0, 0, 0);
    return ToSeconds(*day, 23, 59, 59);
  }
  const std::size_t blank = text.find(' ');
  if (blank == std::string::npos) return std::nullopt;
  const std::optional<Day> day = ParseDay(text.substr(0, blank), now);
  if (!day || !ParseClock(text.substr(blank + 1), hour, minute, second)) return std::nullopt;
  return ToSeconds(*day, hour, minute, second);
}

bool ParseBound(const std::string& text, bool end_of_day, long& seconds, std::string& error) {
  seconds = 0;
  if (text.empty()) return true;
  const std::optional<long> moment = ParseTime(text, std::time(nullptr), end_of_day);
  if (!moment) error = "a time is " + std::string(kTimeHelp) + ", not \"" + text + "\"";
  seconds = moment.value_or(0);
  return moment.has_value();
}

tm ToLocal(long seconds) {
  const time_t when = seconds;
  tm local{};
  (void)localtime_r(&when, &local);  // fails in years that an int does not hold; stays zeroed then
  return local;
}

std::string FormatTime(long seconds, const char* format) {
  const tm local = ToLocal(seconds);
  std::array<char, 64> text{};
  (void)std::strftime(text.data(), text.size(), format, &local);  // empty when it does not fit
  return text.data();
}

std::string LocalTime(long seconds) {
  return FormatTime(seconds, "%Y-%m-%d %H:%M:%S");
}

std::string Duration(long seconds) {
  std::array<char, 48> text{};
  (void)std::snprintf(text.data(),
                      text.size(),
                      "%ld:%02ld:%02ld",
                      seconds / 3600,
                      seconds / kMinute % 60,
                      seconds % 60);
  return text.data();
}

}  // namespace wpctl
