#include "scheduletext.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>
#include <sstream>
#include <utility>

namespace wpctl {
namespace {

constexpr int kDays = 7;
constexpr int kHours = 24;
constexpr std::array<const char*, kDays> kDayNames{"sun", "mon", "tue", "wed", "thu", "fri", "sat"};
constexpr std::array<const char*, 3> kModeNames{"none", "continuous", "motion"};
constexpr char kForm[] =
    "a rule is DAYS [HOURS] MODE in quotes, such as \"mon-fri 8-18 motion\" or \"all continuous\"";

using Week = std::array<std::array<bool, kHours>, kDays>;

template <std::size_t N>
std::optional<int> IndexOf(const std::array<const char*, N>& names, const std::string& name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return std::nullopt;
  return static_cast<int>(found - names.begin());
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
  return parts;
}

// "a-b" as its two halves; "a" as the same twice.
std::pair<std::string, std::string> Ends(const std::string& range) {
  const std::size_t hyphen = range.find('-');
  if (hyphen == std::string::npos) return {range, range};
  return {range.substr(0, hyphen), range.substr(hyphen + 1)};
}

bool ParseDays(const std::string& text, std::array<bool, kDays>& days) {
  if (text == "all") {
    days.fill(true);
    return true;
  }
  for (const std::string& range : Split(text, ',')) {
    const auto [first_name, last_name] = Ends(range);
    const std::optional<int> first = IndexOf(kDayNames, first_name);
    const std::optional<int> last = IndexOf(kDayNames, last_name);
    if (!first || !last) return false;
    for (int day = *first;; day = (day + 1) % kDays) {
      days[static_cast<std::size_t>(day)] = true;
      if (day == *last) break;
    }
  }
  return true;
}

std::optional<int> ParseHour(const std::string& text) {
  int hour = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), hour);
  if (error != std::errc() || end != text.data() + text.size() || hour < 0 || hour > kHours)
    return std::nullopt;
  return hour;
}

// Hours from midnight of the rule's day on; those from 24 up belong to the next day.
bool ParseHours(const std::string& text, std::array<bool, 2 * kHours>& hours) {
  for (const std::string& range : Split(text, ',')) {
    const auto [first_text, last_text] = Ends(range);
    const std::optional<int> first = ParseHour(first_text);
    std::optional<int> last = ParseHour(last_text);
    if (!first || !last || *first == kHours) return false;
    if (range.find('-') == std::string::npos) last = *first + 1;
    if (*last <= *first) last = *last + kHours;
    for (int hour = *first; hour < *last; ++hour) hours[static_cast<std::size_t>(hour)] = true;
  }
  return true;
}

bool ParseRule(const std::string& rule, Week& week, RecordingType& mode) {
  std::string lower = rule;
  std::transform(
      lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  std::istringstream stream(lower);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  if (words.size() < 2 || words.size() > 3) return false;
  std::array<bool, kDays> days{};
  std::array<bool, 2 * kHours> hours{};
  const std::optional<int> named = IndexOf(kModeNames, words.back());
  if (!named || !ParseDays(words[0], days)) return false;
  if (!ParseHours(words.size() == 3 ? words[1] : "0-24", hours)) return false;
  mode = static_cast<RecordingType>(*named);
  for (std::size_t day = 0; day < kDays; ++day) {
    for (std::size_t hour = 0; days[day] && hour < hours.size(); ++hour) {
      if (hours[hour]) week[(day + hour / kHours) % kDays][hour % kHours] = true;
    }
  }
  return true;
}

std::string HoursOf(const Camera& camera, int day, RecordingType mode) {
  std::string text;
  for (int hour = 0; hour < kHours; ++hour) {
    if (camera.GetSchedule(day, hour) != mode) continue;
    const int first = hour;
    while (hour < kHours && camera.GetSchedule(day, hour) == mode) ++hour;
    text += (text.empty() ? "" : ",") + std::to_string(first) + "-" + std::to_string(hour);
  }
  return text;
}

const char* NameOf(RecordingType mode) {
  const auto index = static_cast<std::size_t>(mode);
  return index < kModeNames.size() ? kModeNames[index] : "unknown";
}

}  // namespace

bool ApplyScheduleRule(const std::string& rule, Camera& camera, std::string& error) {
  Week week{};
  RecordingType mode = RECORDING_NONE;
  if (!ParseRule(rule, week, mode)) {
    error = std::string(kForm) + ", not \"" + rule + "\"";
    return false;
  }
  for (int day = 0; day < kDays; ++day) {
    for (int hour = 0; hour < kHours; ++hour) {
      const bool named = week[static_cast<std::size_t>(day)][static_cast<std::size_t>(hour)];
      if (named) (void)camera.SetSchedule(day, hour, mode);  // always in range
    }
  }
  return true;
}

std::vector<std::string> DescribeSchedule(const Camera& camera) {
  std::vector<std::string> rules;
  for (const RecordingType mode : {RECORDING_CONTINUOUS, RECORDING_MOTION}) {
    // Monday first, as people read a week; a run of days with the same hours is one rule.
    for (int i = 0; i < kDays; ++i) {
      const std::string hours = HoursOf(camera, (i + 1) % kDays, mode);
      if (hours.empty()) continue;
      const int first = i;
      while (i + 1 < kDays && HoursOf(camera, (i + 2) % kDays, mode) == hours) ++i;
      std::string days = kDayNames[static_cast<std::size_t>((first + 1) % kDays)];
      if (i > first)
        days += std::string("-") + kDayNames[static_cast<std::size_t>((i + 1) % kDays)];
      if (i - first == kDays - 1) days = "all";
      rules.push_back(days + (hours == "0-24" ? "" : " " + hours) + " " + NameOf(mode));
    }
  }
  return rules;
}

std::string ScheduleText(const Camera& camera) {
  std::string text;
  for (const std::string& rule : DescribeSchedule(camera))
    text += (text.empty() ? "" : "; ") + rule;
  return text.empty() ? "nothing" : text;
}

}  // namespace wpctl
