// wpctl schedule show, set: what a camera records in which hour of the week.

#include <watchpost/service/daemonstate.h>

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "report.h"
#include "scheduletext.h"
#include "verb.h"

namespace wpctl {
namespace {

struct SetOptions {
  std::string camera;
  std::vector<std::string> rules;
};

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

int Show(const ShowCameraOptions& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  if (options.json) {
    PrintJson({{"camera", camera->GetId()},
               {"rules", DescribeSchedule(*camera)},
               {"slots", camera->StringFromSchedule()}});
  } else {
    PrintWeek(*camera);
  }
  return kDone;
}

int Set(const SetOptions& options) {
  std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  std::string error;
  for (const std::string& rule : options.rules) {
    if (!ApplyScheduleRule(rule, *camera, error)) return WrongUsage(error);
  }
  if (camera->Update() != 0) return Failed("the database did not take the change");
  PrintWeek(*camera);
  if (watchpost::NotifyDaemon(camera->GetId())) std::printf("Its daemon takes the change over.\n");
  return kDone;
}

}  // namespace

void AddScheduleShow(Group& schedule) {
  auto [verb, options] = schedule.Add("show", "Show a camera's week", Show);
  AddCameraArgument(verb, options.camera);
  AddJson(verb, options.json);
  AddExamples(verb, {"wpctl schedule show Porch"});
}

void AddScheduleSet(Group& schedule) {
  auto [verb, options] = schedule.Add("set", "Change hours of a camera's week", Set);
  AddCameraArgument(verb, options.camera);
  verb.Add("RULE", options.rules, "DAYS [HOURS] MODE; later rules go over earlier ones").Required();
  AddExamples(
      verb,
      "Days are all, mon, mon-fri or sat,sun; hours are 8-18 (8:00 to 18:00), 22-6 (into the\n"
      "next day), 7 (7:00 to 8:00), all day without them; the mode is none, continuous or\n"
      "motion. Times are local.",
      {"wpctl schedule set Porch \"all none\" \"mon-fri 8-18 motion\"",
       "wpctl schedule set 1 \"sat,sun 22-6 continuous\""});
}

}  // namespace wpctl
