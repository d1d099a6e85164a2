// Recordings, for the commands that reach into their files.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/event/event.h>

#include <list>
#include <map>
#include <optional>
#include <string>

namespace wpctl {

/// A recording with the camera that it belongs to and its file.
struct Recording {
  Event event;
  Camera camera;
  std::string path;
};

/// The recording of that id. Prints what is wrong when there is none, when its camera is gone, or
/// when its row names a file outside the camera's folder.
std::optional<Recording> FindRecording(int event_id);

/// Its motion levels, one a frame; nothing when it has no log that fits it. `sensitivity` receives
/// what it was recorded with, -1 when the log does not tell.
std::optional<std::string> MotionLevels(const Recording& recording, int& sensitivity);

std::string LocalTime(long seconds);
std::string Duration(long seconds);
std::string CauseName(EVENT_CAUSE cause);

}  // namespace wpctl
