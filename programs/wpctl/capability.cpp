// wpctl capability list, show: what is known of makes of cameras.

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "capabilityfile.h"
#include "commands.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

using Getter = int (CAM_CFG_SECTION::*)(std::string&) const noexcept;

struct Action {
  const char* label;
  const char* field;  // in JSON
  Getter path;
};
constexpr std::array<Action, 8> kActions{{
    {"Stream", "path", &CAM_CFG_SECTION::CCSGetPathVideoSrc},
    {"Pan left", "pan_left", &CAM_CFG_SECTION::CCSGetPathPanLeft},
    {"Pan right", "pan_right", &CAM_CFG_SECTION::CCSGetPathPanRight},
    {"Tilt up", "tilt_up", &CAM_CFG_SECTION::CCSGetPathTiltUp},
    {"Tilt down", "tilt_down", &CAM_CFG_SECTION::CCSGetPathTiltDown},
    {"Zoom in", "zoom_in", &CAM_CFG_SECTION::CCSGetPathZoomIn},
    {"Zoom out", "zoom_out", &CAM_CFG_SECTION::CCSGetPathZoomOut},
    {"Home", "home", &CAM_CFG_SECTION::CCSGetPathHomePos},
}};

struct ShowOptions {
  std::string vendor;
  std::string model;
  bool json = false;
};

std::string TextOf(const CAM_CFG_SECTION& entry, Getter get) {
  std::string text;
  return (entry.*get)(text) == CCFG_OK ? text : "";
}

int PortOf(const CAM_CFG_SECTION& entry) {
  int port = 0;
  return entry.CCSGetPort(port) == CCFG_OK ? port : 0;
}

nlohmann::ordered_json ToJson(const CAM_CFG_SECTION& entry) {
  nlohmann::ordered_json json{{"vendor", TextOf(entry, &CAM_CFG_SECTION::CCSGetCamVendor)},
                              {"model", TextOf(entry, &CAM_CFG_SECTION::CCSGetCamModelNo)},
                              {"port", PortOf(entry)}};
  for (const Action& action : kActions) json[action.field] = TextOf(entry, action.path);
  return json;
}

int List(const ShowAllOptions& options) {
  const auto entries = ReadCapabilities();
  if (!entries) return kFailed;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  Table table({"Vendor", "Model", ">Port", "Stream", "Moves"});
  for (const CAM_CFG_SECTION& entry : *entries) {
    all.push_back(ToJson(entry));
    const bool moves = !TextOf(entry, &CAM_CFG_SECTION::CCSGetPathPanLeft).empty();
    const int port = PortOf(entry);
    table.AddRow({TextOf(entry, &CAM_CFG_SECTION::CCSGetCamVendor),
                  TextOf(entry, &CAM_CFG_SECTION::CCSGetCamModelNo),
                  port > 0 ? std::to_string(port) : "",
                  TextOf(entry, &CAM_CFG_SECTION::CCSGetPathVideoSrc),
                  moves ? "yes" : ""});
  }
  PrintAll(options.json, all, table, "No makes of cameras are known.");
  return kDone;
}

int Show(const ShowOptions& options) {
  const auto entry = FindCapability(options.vendor, options.model);
  if (!entry) return kFailed;
  if (options.json) {
    PrintJson(ToJson(*entry));
    return kDone;
  }
  std::vector<std::pair<std::string, std::string>> fields{{"Port", std::to_string(PortOf(*entry))}};
  for (const Action& action : kActions) {
    const std::string path = TextOf(*entry, action.path);
    fields.emplace_back(action.label, path.empty() ? "-" : path);
  }
  PrintFields(fields);
  return kDone;
}

}  // namespace

void AddCapabilityList(Group& capability) {
  auto [verb, options] = capability.Add("list", "Show all makes", List);
  AddJson(verb, options.json);
  AddExamples(verb, "They come from " + CapabilityFile() + ".", {"wpctl capability list"});
}

void AddCapabilityShow(Group& capability) {
  auto [verb, options] = capability.Add("show", "Show one make's port and paths", Show);
  verb.Add("VENDOR", options.vendor, "Maker's name").Required();
  verb.Add("MODEL", options.model, "Model's name").Required();
  AddJson(verb, options.json);
  AddExamples(verb, {"wpctl capability show Generic \"MJPEG 1\""});
}

}  // namespace wpctl
