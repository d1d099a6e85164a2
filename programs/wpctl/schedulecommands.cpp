// wpctl schedule: what a camera records in which hour of the week.

#include <watchpost/camera/camera.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "report.h"
#include "scheduletext.h"

namespace wpctl {
namespace {

void PrintWeek(const Camera& camera) {
  constexpr std::array<const char*, 7> kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  std::printf("     0     3     6     9     12    15    18    21\n");
  for (int i = 1; i <= 7; ++i) {
    const int day = i % 7;
    std::string line = kDays[static_cast<std::size_t>(day)];
    line += "  ";
    for (int hour = 0; hour < 24; ++hour) {
      const RecordingType mode = camera.GetSchedule(day, hour);
      line += mode >= RECORDING_NONE && mode <= RECORDING_MOTION ? "_CM"[mode] : 'X';
      line += ' ';
    }
    line.pop_back();
    std::printf("%s\n", line.c_str());
  }
  std::printf("_ nothing   C continuous   M motion\n");
}

int Show(const std::string& which, bool as_json) {
  const std::optional<Camera> camera = FindCamera(which);
  if (!camera) return kFailed;
  if (!as_json) {
    PrintWeek(*camera);
    return kDone;
  }
  nlohmann::ordered_json json;
  json["camera"] = camera->GetId();
  json["rules"] = DescribeSchedule(*camera);
  json["slots"] = camera->StringFromSchedule();
  PrintJson(json);
  return kDone;
}

int Set(const std::string& which, const std::vector<std::string>& rules) {
  std::optional<Camera> camera = FindCamera(which);
  if (!camera) return kFailed;
  std::string error;
  for (const std::string& rule : rules) {
    if (!ApplyScheduleRule(rule, *camera, error)) return WrongUsage(error);
  }
  if (camera->Update() != 0) return Failed("the database did not take the change");
  PrintWeek(*camera);
  if (NotifyDaemon(camera->GetId())) std::printf("Its daemon takes the change over.\n");
  return kDone;
}

}  // namespace

void AddScheduleCommands(CLI::App& app, int& status) {
  CLI::App* group = app.add_subcommand("schedule", "What is recorded when")->require_subcommand(1);
  const auto which = std::make_shared<std::string>();

  CLI::App* show = group->add_subcommand("show", "Show a camera's week");
  const auto as_json = std::make_shared<bool>(false);
  show->add_option("CAMERA", *which, "Id or name")->required();
  show->add_flag("--json", *as_json, "For scripts");
  show->footer("Examples:\n  wpctl schedule show Porch");
  show->callback([&status, which, as_json] { status = Show(*which, *as_json); });

  CLI::App* set = group->add_subcommand("set", "Change hours of a camera's week");
  const auto rules = std::make_shared<std::vector<std::string>>();
  set->add_option("CAMERA", *which, "Id or name")->required();
  set->add_option("RULE", *rules, "DAYS [HOURS] MODE; later rules go over earlier ones")
      ->required();
  set->footer(
      "Days are all, mon, mon-fri or sat,sun; hours are 8-18 (8:00 to 18:00), 22-6 (into the next "
      "day), 7\n"
      "(7:00 to 8:00), all day without them; the mode is none, continuous or motion. Times are "
      "local.\n"
      "\nExamples:\n"
      "  wpctl schedule set Porch \"all none\" \"mon-fri 8-18 motion\"\n"
      "  wpctl schedule set 1 \"sat,sun 22-6 continuous\"");
  set->callback([&status, which, rules] { status = Set(*which, *rules); });
}

}  // namespace wpctl
