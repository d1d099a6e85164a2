// Recordings: finding them, and how they are shown.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/event/event.h>

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace wpctl {

/// A recording's row with the camera that it belongs to, and its file.
struct Recording {
  Event event;
  Camera camera;
  std::string path;
};

/// The recording of that id. Prints what is wrong when there is none, when its camera is gone, or
/// when its row names a file outside the camera's folder.
std::optional<Recording> FindRecording(int id);

/// The same; also prints what is wrong when it is still being recorded, or its disk is away.
std::optional<Recording> FindFinishedRecording(int id);

/// Its motion levels, one a frame; nothing when it has no log that fits it. `sensitivity` receives
/// what it was recorded with, -1 when the log does not say.
std::optional<std::string> MotionLevels(const Recording& recording, int& sensitivity);

/// Which of its minutes had motion, the first being the one in which it begins, at most two days of
/// them; empty when it has no motion log. `folder` is its camera's.
std::vector<bool> MotionMinutes(Event event, const std::string& folder);

/// "continuous" or "motion".
std::string CauseName(EVENT_CAUSE cause);

/// What its row says.
nlohmann::ordered_json ToJson(const Event& event);

}  // namespace wpctl
