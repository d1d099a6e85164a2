// wpctl camera list, show

#include <watchpost/event/eventutils.h>
#include <watchpost/service/daemonstate.h>

#include <cstdio>
#include <list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cameras.h"
#include "commands.h"
#include "quantity.h"
#include "report.h"
#include "scheduletext.h"
#include "verb.h"

namespace wpctl {
namespace {

std::string LimitText(std::optional<int> limit, const char* unit) {
  return limit ? std::to_string(*limit) + " " + unit : "off";
}

std::string FrameText(const Camera& camera) {
  std::string rate = std::to_string(camera.GetFPS()) + " per second expected";
  if (camera.GetImageWidth() < 1 || camera.GetImageHeight() < 1) return rate;
  return SizeText(camera.GetImageWidth(), camera.GetImageHeight()) + ", " + rate;
}

std::string DaemonText(const Camera& camera) {
  const std::optional<int> pid = watchpost::RunningDaemon(camera.GetId());
  return pid ? "running, pid " + std::to_string(*pid) : "not running";
}

// Everything but the password.
nlohmann::ordered_json ToJson(const Camera& camera) {
  return {{"id", camera.GetId()},
          {"name", camera.GetName()},
          {"vendor", camera.GetVendor()},
          {"model", camera.GetModel()},
          {"host", camera.GetHost()},
          {"port", camera.GetPort()},
          {"path", camera.GetPath()},
          {"user", camera.GetUsername()},
          {"width", camera.GetImageWidth()},
          {"height", camera.GetImageHeight()},
          {"fps", camera.GetFPS()},
          {"folder", camera.GetStoragePath()},
          {"prefix", camera.GetFilenamePrefix()},
          {"capacity_mib", NumberOrNull(CapacityLimitOf(camera))},
          {"days", NumberOrNull(DaysLimitOf(camera))},
          {"sensitivity", camera.GetSensitivity()},
          {"motion_log", camera.IsMotionLog()},
          {"schedule", DescribeSchedule(camera)},
          {"daemon_pid", NumberOrNull(watchpost::RunningDaemon(camera.GetId()))}};
}

int List(const ShowAllOptions& options) {
  if (!RequireDatabase()) return kFailed;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  Table table({">Id", "Name", "Address", "Records", "Daemon"});
  for (const Camera& camera : CameraGetAll()) {
    all.push_back(ToJson(camera));
    table.AddRow({std::to_string(camera.GetId()),
                  camera.GetName(),
                  AddressOf(camera),
                  ScheduleText(camera),
                  DaemonText(camera)});
  }
  PrintAll(
      options.json, all, table, "No cameras yet; \"wpctl camera add --help\" says how to add one.");
  return kDone;
}

int Show(const ShowCameraOptions& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  if (options.json) {
    PrintJson(ToJson(*camera));
    return kDone;
  }
  const std::string user = camera->GetUsername();
  PrintFields({
      {"Id", std::to_string(camera->GetId())},
      {"Name", camera->GetName()},
      {"Vendor, model", camera->GetVendor() + " " + camera->GetModel()},
      {"Address", AddressOf(*camera)},
      {"User", user.empty() ? "none" : user + ", with a password"},
      {"Frames", FrameText(*camera)},
      {"Records", ScheduleText(*camera)},
      {"Folder", camera->GetStoragePath()},
      {"File prefix", camera->GetFilenamePrefix()},
      {"Capacity limit", LimitText(CapacityLimitOf(*camera), "MiB")},
      {"Days limit", LimitText(DaysLimitOf(*camera), "days")},
      {"Sensitivity", std::to_string(camera->GetSensitivity())},
      {"Motion log", camera->IsMotionLog() ? "on" : "off"},
      {"Recordings", std::to_string(GetEventCount(camera->GetId(), 0, 0, EVENT_CAUSE_ANY))},
      {"Daemon", DaemonText(*camera)},
  });
  return kDone;
}

}  // namespace

void AddCameraList(Group& camera) {
  auto [verb, options] = camera.Add("list", "Show all cameras", List);
  AddJson(verb, options.json);
  AddExamples(verb, {"wpctl camera list", "wpctl camera list --json"});
}

void AddCameraShow(Group& camera) {
  auto [verb, options] = camera.Add("show", "Show one camera", Show);
  AddCameraArgument(verb, options.camera);
  AddJson(verb, options.json);
  AddExamples(verb, {"wpctl camera show Porch", "wpctl camera show 1 --json"});
}

}  // namespace wpctl
