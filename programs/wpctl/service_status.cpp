// wpctl service status

#include <watchpost/ipc/ringbuffer.h>
#include <watchpost/service/daemonstate.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cameras.h"
#include "camerastate.h"
#include "commands.h"
#include "quantity.h"
#include "report.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Options {
  std::vector<std::string> cameras;
  bool json = false;
};

const char* StateName(int camera_id, const std::optional<CameraStatus>& reported) {
  if (watchpost::HasDaemonDied(camera_id)) return "died";
  switch (reported ? reported->status : DAEMON_STATUS_UNKNOWN) {
    case DAEMON_STATUS_STARTING:
      return "starting";
    case DAEMON_STATUS_RUNNING:
      return "running";
    case DAEMON_STATUS_STOPPING:
      return watchpost::RunningDaemon(camera_id) ? "stopping" : "stopped";
    case DAEMON_STATUS_STOPPED:
      return "stopped";
    default:
      return "never started";
  }
}

nlohmann::ordered_json StatusOf(const Camera& camera) {
  const int id = camera.GetId();
  const std::optional<CameraStatus> reported = watchpost::ReportedStatus(id);
  const std::optional<int> pid = watchpost::RunningDaemon(id);
  nlohmann::ordered_json status{{"camera", id}, {"camera_name", camera.GetName()}};
  const CameraState state = ReadCameraState(id);
  AddState(status, state);
  status["state"] = StateName(id, reported);
  if (reported) status["reported"] = reported->update_time;
  if (!pid) return status;
  status["daemon_pid"] = *pid;
  status["connection"] = ConnectionName(CameraConnectionStatus(id));
  if (!state.activity.is_object()) return status;
  for (const auto& [key, value] : state.activity.items()) {
    if (!status.contains(key)) status[key] = value;
  }
  return status;
}

std::string Shorten(const std::string& text, std::size_t most) {
  return text.size() <= most ? text : text.substr(0, most - 3) + "...";
}

std::string RecordingOf(const nlohmann::ordered_json& status) {
  const auto& recording = status.at("recording");
  if (recording.is_boolean() && recording.get<bool>()) return "yes";
  const std::string because = Shorten(Printable(status.value("not_recording_because", "")), 120);
  return recording.is_null() ? because : "no: " + because;
}

// With its reason while it lasts.
std::string LastTrouble(const nlohmann::ordered_json& status) {
  const std::string trouble = status.value("trouble", "");
  if (trouble.empty()) return "";
  const std::string when = LocalTime(status.value("trouble_time", 0L));
  return status.value("healthy", false) ? when + ", over"
                                        : when + " " + Shorten(Printable(trouble), 70);
}

void AddRow(Table& table, const nlohmann::ordered_json& status) {
  const auto text = [&status](const char* key) { return status.value(key, ""); };
  const bool active = status.contains("since");
  const std::string connection = text("connection");
  table.AddRow({std::to_string(status.value("camera", 0)),
                Shorten(Printable(text("camera_name")), 24),
                RecordingOf(status),
                text("state"),
                status.contains("daemon_pid") ? std::to_string(status.value("daemon_pid", 0)) : "",
                active ? LocalTime(status.value("since", 0L)) : "",
                connection == "none" ? "" : connection,
                active ? Decimal(status.value("fps", 0.0)) : "",
                active ? std::to_string(status.value("level", 0)) : "",
                std::filesystem::path(text("file")).filename(),
                LastTrouble(status)});
}

int Show(const Options& options) {
  const auto cameras = FindCameras(options.cameras);
  if (!cameras) return kFailed;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  Table table({">Id",
               "Camera",
               "Recording",
               "State",
               ">Pid",
               "Since",
               "Connection",
               ">Rate",
               ">Level",
               "File",
               "Last trouble"});
  bool good = true;
  for (const Camera& camera : *cameras) {
    all.push_back(StatusOf(camera));
    AddRow(table, all.back());
    good = good && all.back().value("healthy", false);
  }
  PrintAll(options.json, all, table, "No cameras yet.");
  return good ? kDone : kFailed;
}

}  // namespace

void AddServiceStatus(Group& service) {
  auto [verb, options] =
      service.Add("status", "Show whether each camera is recorded, and how its daemon is", Show);
  AddCameraArguments(verb, options.cameras);
  AddJson(verb, options.json);
  AddExamples(verb,
              "Exit status 1 when a camera is not recorded that should be.",
              {"wpctl service status"});
}

}  // namespace wpctl
