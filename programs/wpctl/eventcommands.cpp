// wpctl event: what was recorded.

#include <watchpost/camera/camera.h>
#include <watchpost/event/eventutils.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "cameras.h"
#include "commands.h"
#include "events.h"
#include "report.h"

namespace wpctl {
namespace {

struct Filter {
  std::string camera;  // id or name; empty for all
  std::string cause;   // "", "continuous" or "motion"
  int offset = 0;
  int limit = 20;
  bool as_json = false;
};

EVENT_CAUSE CauseOf(const std::string& name) {
  if (name == "continuous") return EVENT_CAUSE_CONTINUOUS;
  return name == "motion" ? EVENT_CAUSE_MOTION : EVENT_CAUSE_ANY;
}

nlohmann::ordered_json ToJson(const Event& event) {
  nlohmann::ordered_json json;
  json["id"] = event.GetID();
  json["camera"] = event.GetCameraID();
  json["start"] = event.GetStartTime();
  json["stop"] = event.GetStopTime();
  json["width"] = event.GetVideoWidth();
  json["height"] = event.GetVideoHeight();
  json["frames"] = event.GetFrameCount();
  json["bytes"] = event.GetSize();
  json["cause"] = CauseName(event.GetCause());
  json["archived"] = event.GetArchived();
  json["path"] = event.GetPath();
  return json;
}

void PrintTable(const std::list<Event>& events, const Filter& filter, int total) {
  std::map<int, std::string> names;
  for (const Camera& camera : CameraGetAll()) names[camera.GetId()] = camera.GetName();
  Table table({">ID", "CAMERA", "START", ">DURATION", ">FRAMES", ">MIB", "CAUSE", "FILE"});
  for (const Event& event : events) {
    const auto name = names.find(event.GetCameraID());
    std::array<char, 32> size{};
    (void)std::snprintf(size.data(), size.size(), "%.1f", event.GetSize() / 1048576.0);
    table.AddRow({std::to_string(event.GetID()),
                  name == names.end() ? std::to_string(event.GetCameraID()) : name->second,
                  LocalTime(event.GetStartTime()),
                  Duration(event.GetStopTime() - event.GetStartTime()),
                  std::to_string(event.GetFrameCount()),
                  size.data(),
                  CauseName(event.GetCause()),
                  event.GetPath()});
  }
  table.Print();
  const int shown = static_cast<int>(events.size());
  if (shown < total)
    std::printf("%d to %d of %d\n", filter.offset + 1, filter.offset + shown, total);
}

int List(const Filter& filter) {
  int camera_id = 0;
  if (!filter.camera.empty()) {
    const std::optional<Camera> camera = FindCamera(filter.camera);
    if (!camera) return kFailed;
    camera_id = camera->GetId();
  } else if (!RequireDatabase()) {
    return kFailed;
  }
  const EVENT_CAUSE cause = CauseOf(filter.cause);
  const std::list<Event> events = GetEvents(filter.offset, filter.limit, camera_id, 0, 0, cause);
  if (filter.as_json) {
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Event& event : events) all.push_back(ToJson(event));
    PrintJson(all);
    return kDone;
  }
  const int total = GetEventCount(camera_id, 0, 0, cause);
  if (events.empty()) {
    std::printf(total == 0 ? "No recordings.\n" : "No recordings on this page; there are %d.\n",
                total);
    return kDone;
  }
  PrintTable(events, filter, total);
  return kDone;
}

}  // namespace

void AddEventCommands(CLI::App& app, int& status) {
  CLI::App* group = app.add_subcommand("event", "Recordings")->require_subcommand(1);
  CLI::App* list = group->add_subcommand("list", "Show recordings, newest first");
  const auto filter = std::make_shared<Filter>();
  list->add_option("--camera", filter->camera, "Only those of this camera (id or name)");
  list->add_option("--cause", filter->cause, "Only those made for this reason")
      ->check(CLI::IsMember({"continuous", "motion"}));
  list->add_option("--offset", filter->offset, "How many to skip")
      ->check(CLI::Range(0, 2000000000))
      ->capture_default_str();
  list->add_option("--limit", filter->limit, "How many to show")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str();
  list->add_flag("--json", filter->as_json, "For scripts; times are seconds since the epoch");
  list->footer(
      "Examples:\n  wpctl event list\n  wpctl event list --camera Porch --offset 20 --json");
  list->callback([&status, filter] { status = List(*filter); });
}

}  // namespace wpctl
