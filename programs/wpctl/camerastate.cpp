#include "camerastate.h"

#include <sys/stat.h>
#include <watchpost/base/paths.h>
#include <watchpost/service/daemonstate.h>

#include <cstdlib>
#include <ctime>
#include <fstream>

namespace wpctl {
namespace {

constexpr long kOldest = 10;  // seconds; a daemon writes its file every two
constexpr char kNotKnown[] = "not known: its daemon has not said lately what it does";

bool IsFresh(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 &&
         std::labs(std::time(nullptr) - status.st_mtime) <= kOldest;
}

template <typename Value>
Value Get(const nlohmann::json& json, const char* key, Value otherwise) {
  const auto value = json.find(key);
  const bool fits = value != json.end() && value->type() == nlohmann::json(otherwise).type();
  return fits ? value->get<Value>() : otherwise;
}

}  // namespace

CameraState ReadCameraState(int camera_id) {
  CameraState state;
  if (!watchpost::RunningDaemon(camera_id)) {
    state.recording = false;
    state.because = "its daemon is not running";
    return state;
  }
  const std::string path = watchpost::DaemonStatusFile(camera_id);
  std::ifstream file(path);
  state.activity = nlohmann::json::parse(file, nullptr, false);
  if (!state.activity.is_object() || !state.activity.contains("recording") || !IsFresh(path)) {
    state.because = kNotKnown;
    return state;
  }
  state.recording = Get(state.activity, "recording", false);
  state.healthy = Get(state.activity, "healthy", false);
  state.because = Get(state.activity, "not_recording_because", std::string());
  return state;
}

std::string RecordingText(const CameraState& state) {
  if (state.recording.value_or(false)) return "yes";
  return (state.recording ? "no: " : "") + state.because;
}

void AddState(nlohmann::ordered_json& json, const CameraState& state) {
  json["recording"] = state.recording ? nlohmann::ordered_json(*state.recording) : nullptr;
  json["healthy"] = state.healthy;
  json["not_recording_because"] = state.because;
}

}  // namespace wpctl
