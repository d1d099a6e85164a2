// wpctl event show

#include <watchpost/event/eventfiles.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "camerafolder.h"
#include "camerastate.h"
#include "commands.h"
#include "quantity.h"
#include "recordings.h"
#include "report.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

constexpr char kAtHand[] = "being recorded";

struct Options {
  int id = 0;
  bool json = false;
};

// Which minutes of the recording had motion, on the clock: a line an hour, '.' a minute that was
// recorded, '#' one with motion. Empty when it has no motion log.
std::vector<std::string> HourBars(const Recording& recording) {
  constexpr std::size_t kBarAt = 7;  // behind "14:00 |"
  std::vector<std::string> lines;
  long hour = -1;
  long when = recording.event.GetStartTime() / kMinute * kMinute;
  for (const bool motion : MotionMinutes(recording.event, recording.camera.GetStoragePath())) {
    const int minute = ToLocal(when).tm_min;
    const long this_hour = when - minute * kMinute;
    if (lines.empty() || this_hour != hour) {
      hour = this_hour;
      lines.push_back(FormatTime(when, "%H:00 |") + std::string(60, ' ') + "|");
    }
    lines.back()[kBarAt + static_cast<std::size_t>(minute)] = motion ? '#' : '.';
    when += kMinute;
  }
  return lines;
}

const char* StateOf(Recording& recording) {
  std::error_code failure;
  if (!std::filesystem::exists(recording.path, failure)) return "missing";
  return IsEventComplete(recording.camera, recording.event) ? "finished" : kAtHand;
}

int Show(const Options& options) {
  std::optional<Recording> recording = FindRecording(options.id);
  if (!recording) return kFailed;
  const std::string state = StateOf(*recording);
  const bool at_hand = state == kAtHand;
  const CameraState camera = at_hand ? ReadCameraState(recording->camera.GetId()) : CameraState();
  const Event& event = recording->event;
  if (const std::string why = MissingFolder(recording->camera); !why.empty()) (void)Failed(why);
  if (options.json) {
    nlohmann::ordered_json json = ToJson(event);
    if (at_hand) AddState(json, camera);
    json["file"] = recording->path;
    json["state"] = state;
    PrintJson(json);
    return kDone;
  }
  std::vector<std::pair<std::string, std::string>> fields{
      {"Id", std::to_string(event.GetID())},
      {"Camera", recording->camera.GetName()},
      {"Start", LocalTime(event.GetStartTime())},
      {"Stop", LocalTime(event.GetStopTime())},
      {"Frames",
       std::to_string(event.GetFrameCount()) + " of " +
           SizeText(event.GetVideoWidth(), event.GetVideoHeight())},
      {"Bytes", std::to_string(event.GetSize())},
      {"Cause", CauseName(event.GetCause())},
      {"Archived", event.GetArchived() ? "yes: rotation leaves it" : "no"},
      {"File", recording->path + ", " + state},
  };
  if (at_hand) fields.emplace(fields.begin(), "Recording", RecordingText(camera));
  for (const std::string& bar : HourBars(*recording)) fields.emplace_back("Motion", bar);
  PrintFields(fields);
  return kDone;
}

}  // namespace

void AddEventShow(Group& event) {
  auto [verb, options] = event.Add("show", "Show one recording, and when something moved", Show);
  AddRecordingArgument(verb, options.id);
  AddJson(verb, options.json);
  AddExamples(verb, {"wpctl event show 17"});
}

}  // namespace wpctl
