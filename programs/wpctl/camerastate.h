// Whether a camera is being recorded, by what its daemon last wrote about itself.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace wpctl {

struct CameraState {
  std::optional<bool> recording;  ///< nothing when it is not known
  bool healthy = false;           ///< it records, or has nothing to record at the moment
  std::string because;            ///< why it does not record; empty while it does
  nlohmann::json activity;        ///< all that the daemon wrote; no object without it
};

CameraState ReadCameraState(int camera_id);

/// "yes", or "no: " and why.
std::string RecordingText(const CameraState& state);

/// Puts "recording", "healthy" and "not_recording_because" into `json`.
void AddState(nlohmann::ordered_json& json, const CameraState& state);

}  // namespace wpctl
