#include "recordings.h"

#include <unistd.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/event/eventutils.h>
#include <watchpost/event/recordingfile.h>
#include <watchpost/motion/mdlog.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "camerafolder.h"
#include "cameras.h"
#include "foldermove.h"
#include "report.h"
#include "timetext.h"

namespace wpctl {

std::optional<Recording> FindRecording(int id) {
  if (!RequireDatabase()) return std::nullopt;
  const std::string title = "recording " + std::to_string(id);
  Recording recording{Event(id), Camera(), ""};
  if (!recording.event.IsSaved() || recording.event.GetCameraID() == 0) {
    (void)Failed("there is no " + title + "; \"wpctl event list\" shows all");
    return std::nullopt;
  }
  if (recording.camera.Load(recording.event.GetCameraID()) != 0) {
    (void)Failed(title + " belongs to camera " + std::to_string(recording.event.GetCameraID()) +
                 ", which does not exist");
    return std::nullopt;
  }
  const std::optional<std::string> path =
      watchpost::RecordingPath(recording.camera, recording.event);
  if (!path) {
    (void)Failed(title + " names a file outside its camera's folder: " + recording.event.GetPath());
    return std::nullopt;
  }
  recording.path = *path;
  return recording;
}

std::optional<Recording> FindFinishedRecording(int id) {
  std::optional<Recording> recording = FindRecording(id);
  if (!recording) return recording;
  std::string why = MissingFolder(recording->camera);
  if (why.empty() && access(recording->path.c_str(), F_OK) != 0)
    (void)HasUnfinishedMove(recording->camera, why);
  if (!why.empty()) {
    (void)Failed(why);
    return std::nullopt;
  }
  if (IsEventComplete(recording->camera, recording->event)) return recording;
  (void)Failed("recording " + std::to_string(id) + " is still being recorded");
  return std::nullopt;
}

std::optional<std::string> MotionLevels(const Recording& recording, int& sensitivity) {
  const int frames = recording.event.GetFrameCount();
  if (frames <= 0) return std::nullopt;
  std::string levels(static_cast<std::size_t>(frames), '\0');
  auto* bytes = reinterpret_cast<unsigned char*>(levels.data());
  if (FetchMotionLevel(bytes, frames, recording.path, sensitivity) != frames) return std::nullopt;
  return levels;
}

std::vector<bool> MotionMinutes(Event event, const std::string& folder) {
  constexpr int kMostMinutes = 2 * 24 * 60;
  std::vector<unsigned char> flags(kMostMinutes);
  const int minutes =
      GetMotionLevel(event, folder, static_cast<int>(kMinute), flags.data(), kMostMinutes);
  return {flags.begin(), flags.begin() + std::max(minutes, 0)};
}

std::string CauseName(EVENT_CAUSE cause) {
  switch (cause) {
    case EVENT_CAUSE_CONTINUOUS:
      return "continuous";
    case EVENT_CAUSE_MOTION:
      return "motion";
    default:
      return std::to_string(cause);
  }
}

nlohmann::ordered_json ToJson(const Event& event) {
  return {{"id", event.GetID()},
          {"camera", event.GetCameraID()},
          {"start", event.GetStartTime()},
          {"stop", event.GetStopTime()},
          {"width", event.GetVideoWidth()},
          {"height", event.GetVideoHeight()},
          {"frames", event.GetFrameCount()},
          {"bytes", event.GetSize()},
          {"cause", CauseName(event.GetCause())},
          {"archived", event.GetArchived()},
          {"path", event.GetPath()}};
}

}  // namespace wpctl
