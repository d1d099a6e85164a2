#include "events.h"

#include <watchpost/event/recordingfile.h>
#include <watchpost/motion/mdlog.h>

#include <array>
#include <cstdio>
#include <ctime>

#include "cameras.h"
#include "report.h"

namespace wpctl {

std::optional<Recording> FindRecording(int event_id) {
  if (!RequireDatabase()) return std::nullopt;
  const std::string title = "recording " + std::to_string(event_id);
  Recording recording{Event(event_id), Camera(), ""};
  if (!recording.event.IsSaved() || recording.event.GetCameraID() == 0) {
    (void)Failed("there is no " + title + "; \"wpctl event list\" shows all");
    return std::nullopt;
  }
  if (recording.camera.Load(recording.event.GetCameraID()) != 0) {
    (void)Failed(title + " belongs to camera " + std::to_string(recording.event.GetCameraID()) +
                 ", which does not exist");
    return std::nullopt;
  }
  const std::optional<std::string> path = watchpost::RecordingPath(recording.camera, recording.event);
  if (!path) {
    (void)Failed(title + " names a file outside its camera's folder: " + recording.event.GetPath());
    return std::nullopt;
  }
  recording.path = *path;
  return recording;
}

std::optional<std::string> MotionLevels(const Recording& recording, int& sensitivity) {
  const int frames = recording.event.GetFrameCount();
  if (frames <= 0) return std::nullopt;
  std::string levels(static_cast<std::size_t>(frames), '\0');
  auto* bytes = reinterpret_cast<unsigned char*>(levels.data());
  if (FetchMotionLevel(bytes, frames, recording.path, sensitivity) != frames) return std::nullopt;
  return levels;
}

std::string LocalTime(long seconds) {
  const time_t when = seconds;
  tm local{};
  std::array<char, 40> text{};
  if (localtime_r(&when, &local) == nullptr) return std::to_string(seconds);
  (void)strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);  // always fits
  return text.data();
}

std::string Duration(long seconds) {
  std::array<char, 32> text{};
  (void)std::snprintf(
      text.data(), text.size(), "%ld:%02ld:%02ld", seconds / 3600, seconds / 60 % 60, seconds % 60);
  return text.data();
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

}  // namespace wpctl
