// wpctl storage usage

#include <watchpost/event/eventstore.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "quantity.h"
#include "report.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

constexpr int kDays = 7;
constexpr std::int64_t kEndOfTime = std::int64_t{1} << 40;

using Sums = std::map<int, watchpost::EventUsage>;  // by camera

// Recordings that began in a span of time, added up by camera; none when they cannot be read.
Sums AddUp(std::int64_t from, std::int64_t until) {
  return watchpost::ReadUsage(from, until).value_or(Sums());
}

// The first second of the day `ago` days ago.
long Midnight(int ago) {
  tm local = ToLocal(std::time(nullptr));
  local.tm_mday -= ago;
  local.tm_hour = local.tm_min = local.tm_sec = 0;
  local.tm_isdst = -1;
  return std::mktime(&local);
}

// How long until the camera's limit is reached at the rate of the last day.
std::string TimeLeft(const Camera& camera, std::int64_t used, std::int64_t last_day) {
  if (!camera.IsRotatedBySize()) return "no limit";
  const double left = camera.GetCapacityLimit() * kMiB - static_cast<double>(used);
  if (left <= 0) return "reached";
  if (last_day <= 0) return "never at this rate";
  return Decimal(left / static_cast<double>(last_day)) + " days";
}

struct Usage {
  Sums all = AddUp(0, kEndOfTime);
  Sums last_day = AddUp(std::time(nullptr) - kDay, kEndOfTime);
  std::vector<Sums> days;  // by day of their beginning, today last
};

Usage ReadAll() {
  Usage usage;
  for (int ago = kDays - 1; ago >= 0; --ago)
    usage.days.push_back(AddUp(Midnight(ago), Midnight(ago - 1)));
  return usage;
}

void PrintUsageJson(Usage& usage) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Camera& camera : CameraGetAll()) {
    const int id = camera.GetId();
    nlohmann::ordered_json by_day = nlohmann::ordered_json::array();
    for (Sums& day : usage.days) by_day.push_back(day[id].bytes);
    json.push_back({{"camera", id},
                    {"camera_name", camera.GetName()},
                    {"recordings", usage.all[id].recordings},
                    {"bytes", usage.all[id].bytes},
                    {"bytes_last_24_hours", usage.last_day[id].bytes},
                    {"limit_in", TimeLeft(camera, usage.all[id].bytes, usage.last_day[id].bytes)},
                    {"bytes_by_day", by_day}});
  }
  PrintJson(json);
}

void PrintUsage(Usage& usage) {
  const auto mib = [](std::int64_t bytes) { return InMiB(static_cast<double>(bytes)); };
  std::vector<std::string> headings{">Id", "Camera", ">Recordings", ">MiB", ">Limit", "Limit in"};
  for (int ago = kDays - 1; ago >= 0; --ago)
    headings.push_back(FormatTime(Midnight(ago), ">%m-%d"));
  Table table(headings);
  for (const Camera& camera : CameraGetAll()) {
    const int id = camera.GetId();
    const std::optional<int> limit = CapacityLimitOf(camera);
    std::vector<std::string> row{std::to_string(id),
                                 camera.GetName(),
                                 std::to_string(usage.all[id].recordings),
                                 mib(usage.all[id].bytes),
                                 limit ? std::to_string(*limit) : "-",
                                 TimeLeft(camera, usage.all[id].bytes, usage.last_day[id].bytes)};
    for (Sums& day : usage.days) row.push_back(mib(day[id].bytes));
    table.AddRow(row);
  }
  table.Print();
  std::printf("Days are MiB of recordings that began then.\n");
}

int Show(const ShowAllOptions& options) {
  if (!RequireDatabase()) return kFailed;
  Usage usage = ReadAll();
  if (options.json) {
    PrintUsageJson(usage);
  } else {
    PrintUsage(usage);
  }
  return kDone;
}

}  // namespace

void AddStorageUsage(Group& storage) {
  auto [verb, options] = storage.Add("usage", "Show how much each camera has recorded", Show);
  AddJson(verb, options.json);
  AddExamples(verb, {"wpctl storage usage"});
}

}  // namespace wpctl
