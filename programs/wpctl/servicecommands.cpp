// wpctl service: the daemons of all cameras, or of some.

#include <watchpost/camera/camera.h>
#include <watchpost/ipc/ringbuffer.h>
#include <watchpost/base/paths.h>
#include <watchpost/service/cameracontrol.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "events.h"
#include "report.h"

namespace wpctl {
namespace {

constexpr std::size_t kAtOnce = 8;  // daemons that are started or stopped side by side

using Names = std::vector<std::string>;
using Cameras = std::vector<Camera>;

// All cameras without names; nothing, with an explanation, when one is unknown.
std::optional<Cameras> Select(const Names& names) {
  Cameras cameras;
  if (names.empty()) {
    if (!RequireDatabase()) return std::nullopt;
    const std::list<Camera> all = CameraGetAll();
    return Cameras(all.begin(), all.end());
  }
  for (const std::string& name : names) {
    const std::optional<Camera> camera = FindCamera(name);
    if (!camera) return std::nullopt;
    cameras.push_back(*camera);
  }
  return cameras;
}

std::string Title(const Camera& camera) {
  return std::to_string(camera.GetId()) + " (" + Printable(camera.GetName()) + ")";
}

// Calls `act` for each camera, several side by side; the number of those for which it failed.
template <typename Act>
int ForEach(const Cameras& cameras, Act act) {
  std::atomic<std::size_t> next{0};
  std::atomic<int> failures{0};
  const auto work = [&] {
    for (std::size_t i = next++; i < cameras.size(); i = next++) {
      if (!act(cameras[i])) ++failures;
    }
  };
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < std::min(kAtOnce, cameras.size()); ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
  return failures;
}

bool Start(const Camera& camera) {
  const std::string title = Title(camera);
  if (RunningDaemon(camera.GetId())) {
    std::printf("%s runs already\n", title.c_str());
    return true;
  }
  watchpost::DropStaleStatus(camera.GetId());
  if (CameraControl(camera.GetId()).Start() == 0) {
    std::printf("%s started\n", title.c_str());
    return true;
  }
  // Another controller may have been faster.
  if (RunningDaemon(camera.GetId())) {
    std::printf("%s was started by somebody else\n", title.c_str());
    return true;
  }
  (void)Failed(title + " did not start; the system log says why");
  return false;
}

bool Stop(const Camera& camera) {
  const std::string title = Title(camera);
  watchpost::DropStaleStatus(camera.GetId());
  if (!RunningDaemon(camera.GetId())) {
    std::printf("%s does not run\n", title.c_str());
    return true;
  }
  if (CameraControl(camera.GetId()).Stop() == 0 && !RunningDaemon(camera.GetId())) {
    std::printf("%s stopped\n", title.c_str());
    return true;
  }
  (void)Failed(title + " did not stop; the system log says why");
  return false;
}

int StartAll(const Names& names, bool died) {
  std::optional<Cameras> cameras = Select(names);
  if (!cameras) return kFailed;
  if (died) {
    std::erase_if(*cameras, [](const Camera& camera) { return !watchpost::HasDaemonDied(camera.GetId()); });
  } else if (cameras->empty()) {
    std::printf("There is no camera; \"wpctl camera add\" adds one.\n");
  }
  return ForEach(*cameras, Start) == 0 ? kDone : kFailed;
}

int StopAll(const Names& names) {
  const std::optional<Cameras> cameras = Select(names);
  if (!cameras) return kFailed;
  return ForEach(*cameras, Stop) == 0 ? kDone : kFailed;
}

int RestartAll(const Names& names) {
  const std::optional<Cameras> cameras = Select(names);
  if (!cameras) return kFailed;
  const auto restart = [](const Camera& camera) { return Stop(camera) && Start(camera); };
  return ForEach(*cameras, restart) == 0 ? kDone : kFailed;
}

const char* StateName(int camera_id, const std::optional<CameraStatus>& reported) {
  if (watchpost::HasDaemonDied(camera_id)) return "died";
  switch (reported ? reported->status : DAEMON_STATUS_UNKNOWN) {
    case DAEMON_STATUS_STARTING:
      return "starting";
    case DAEMON_STATUS_RUNNING:
      return "running";
    case DAEMON_STATUS_STOPPING:
      return RunningDaemon(camera_id) ? "stopping" : "stopped";
    case DAEMON_STATUS_STOPPED:
      return "stopped";
    default:
      return "never started";
  }
}

const char* ConnectionName(int camera_id) {
  switch (CameraConnectionStatus(camera_id)) {
    case CAM_CONN_WAITING:
      return "waiting";
    case CAM_CONN_CONNECTED:
      return "connected";
    case CAM_CONN_LOST:
      return "lost";
    default:
      return "";
  }
}

// What the daemon last wrote about itself; null when it runs not or says nothing.
nlohmann::json ReadActivity(int camera_id) {
  std::ifstream file(watchpost::DaemonStatusFile(camera_id));
  return nlohmann::json::parse(file, nullptr, false);
}

nlohmann::ordered_json StatusOf(const Camera& camera) {
  const int id = camera.GetId();
  const std::optional<CameraStatus> reported = watchpost::ReportedStatus(id);
  const std::optional<int> pid = RunningDaemon(id);
  nlohmann::ordered_json status{
      {"id", id}, {"name", camera.GetName()}, {"state", StateName(id, reported)}};
  if (reported) status["reported"] = reported->update_time;
  if (!pid) return status;
  status["pid"] = *pid;
  status["connection"] = ConnectionName(id);
  const nlohmann::json activity = ReadActivity(id);
  if (!activity.is_object()) return status;
  for (const auto& [key, value] : activity.items()) status[key] = value;
  return status;
}

std::string Shorten(const std::string& text, std::size_t most) {
  return text.size() <= most ? text : text.substr(0, most - 3) + "...";
}

int ShowStatus(const Names& names, bool as_json) {
  const std::optional<Cameras> cameras = Select(names);
  if (!cameras) return kFailed;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  Table table({">ID",
               "Camera",
               "State",
               ">PID",
               "Since",
               "Connection",
               ">Rate",
               ">Level",
               "File",
               "Last trouble"});
  for (const Camera& camera : *cameras) {
    const nlohmann::ordered_json status = StatusOf(camera);
    all.push_back(status);
    const auto text = [&status](const char* key) { return Printable(status.value(key, "")); };
    const bool active = status.contains("since");
    std::array<char, 32> rate{};
    (void)std::snprintf(rate.data(), rate.size(), "%.1f", status.value("frames_per_second", 0.0));
    table.AddRow({std::to_string(camera.GetId()),
                  Shorten(Printable(camera.GetName()), 24),
                  text("state"),
                  status.contains("pid") ? std::to_string(status["pid"].get<int>()) : "",
                  active ? LocalTime(status.value("since", 0L)) : "",
                  text("connection"),
                  active ? rate.data() : "",
                  active ? std::to_string(status.value("level", 0)) : "",
                  std::filesystem::path(text("file")).filename(),
                  text("trouble").empty() ? ""
                                          : LocalTime(status.value("trouble_time", 0L)) + " " +
                                                Shorten(text("trouble"), 70)});
  }
  if (as_json) {
    PrintJson(all);
  } else {
    table.Print();
  }
  return kDone;
}

}  // namespace

void AddServiceCommands(CLI::App& app, int& status) {
  CLI::App* group = app.add_subcommand("service", "The recording daemons")->require_subcommand(1);
  const auto names = std::make_shared<Names>();
  const auto flag = std::make_shared<bool>(false);
  const auto add = [&](const char* name, const char* what, const char* examples) {
    CLI::App* verb = group->add_subcommand(name, what);
    verb->add_option("CAMERA", *names, "Ids or names; all cameras without");
    verb->footer(examples);
    return verb;
  };
  CLI::App* start = add("start",
                        "Start daemons that do not run",
                        "Examples:\n  wpctl service start\n  wpctl service start Porch 3\n"
                        "  wpctl service start --died      # what a timer calls every minute");
  start->add_flag("--died", *flag, "Only those that were running and have died");
  start->callback([&status, names, flag] { status = StartAll(*names, *flag); });
  add("stop",
      "Stop daemons; what they record is finished first",
      "Examples:\n  wpctl service stop\n  wpctl service stop Porch")
      ->callback([&status, names] { status = StopAll(*names); });
  add("restart",
      "Stop daemons and start them again",
      "Examples:\n  wpctl service restart\n  wpctl service restart Porch")
      ->callback([&status, names] { status = RestartAll(*names); });
  CLI::App* show = add("status", "Show how each daemon is", "Examples:\n  wpctl service status");
  show->add_flag("--json", *flag, "For scripts");
  show->callback([&status, names, flag] { status = ShowStatus(*names, *flag); });
}

}  // namespace wpctl
