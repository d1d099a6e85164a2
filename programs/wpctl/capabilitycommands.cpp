// wpctl capability: what is known of cameras; wpctl camera ptz: moving one.

#include <watchpost/net/ptz.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "cameras.h"
#include "capability.h"
#include "commands.h"
#include "report.h"

namespace wpctl {
namespace {

using Getter = int (CAM_CFG_SECTION::*)(std::string&) const noexcept;

struct Action {
  const char* key;
  Getter path;
};
constexpr std::array<Action, 8> kActions{{
    {"video source", &CAM_CFG_SECTION::CCSGetPathVideoSrc},
    {"pan left", &CAM_CFG_SECTION::CCSGetPathPanLeft},
    {"pan right", &CAM_CFG_SECTION::CCSGetPathPanRight},
    {"tilt up", &CAM_CFG_SECTION::CCSGetPathTiltUp},
    {"tilt down", &CAM_CFG_SECTION::CCSGetPathTiltDown},
    {"zoom in", &CAM_CFG_SECTION::CCSGetPathZoomIn},
    {"zoom out", &CAM_CFG_SECTION::CCSGetPathZoomOut},
    {"home pos", &CAM_CFG_SECTION::CCSGetPathHomePos},
}};

std::string TextOf(const CAM_CFG_SECTION& entry, Getter get) {
  std::string text;
  return (entry.*get)(text) == CCFG_OK ? text : "";
}

int PortOf(const CAM_CFG_SECTION& entry) {
  int port = 0;
  return entry.CCSGetPort(port) == CCFG_OK ? port : 0;
}

nlohmann::ordered_json JsonOf(const CAM_CFG_SECTION& entry) {
  nlohmann::ordered_json json{{"vendor", TextOf(entry, &CAM_CFG_SECTION::CCSGetCamVendor)},
                              {"model", TextOf(entry, &CAM_CFG_SECTION::CCSGetCamModelNo)},
                              {"port", PortOf(entry)}};
  for (const Action& action : kActions) json[action.key] = TextOf(entry, action.path);
  return json;
}

int List(bool as_json) {
  const auto entries = ReadCapabilities();
  if (!entries) return kFailed;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  Table table({"Vendor", "Model", ">Port", "Stream", "Moves"});
  for (const CAM_CFG_SECTION& entry : *entries) {
    all.push_back(JsonOf(entry));
    const bool moves = !TextOf(entry, &CAM_CFG_SECTION::CCSGetPathPanLeft).empty();
    const int port = PortOf(entry);
    table.AddRow({Printable(TextOf(entry, &CAM_CFG_SECTION::CCSGetCamVendor)),
                  Printable(TextOf(entry, &CAM_CFG_SECTION::CCSGetCamModelNo)),
                  port > 0 ? std::to_string(port) : "",
                  Printable(TextOf(entry, &CAM_CFG_SECTION::CCSGetPathVideoSrc)),
                  moves ? "yes" : ""});
  }
  if (as_json) {
    PrintJson(all);
  } else {
    table.Print();
  }
  return kDone;
}

int Show(const std::string& vendor, const std::string& model, bool as_json) {
  const auto entry = FindCapability(vendor, model);
  if (!entry) return kFailed;
  if (as_json) {
    PrintJson(JsonOf(*entry));
    return kDone;
  }
  std::printf("%-13s %d\n", "port", PortOf(*entry));
  for (const Action& action : kActions) {
    const std::string path = TextOf(*entry, action.path);
    std::printf("%-13s %s\n", action.key, path.empty() ? "-" : Printable(path).c_str());
  }
  return kDone;
}

const std::map<std::string, int (Ptz::*)() noexcept> kMoves{{"left", &Ptz::MoveLeft},
                                                            {"right", &Ptz::MoveRight},
                                                            {"up", &Ptz::MoveUp},
                                                            {"down", &Ptz::MoveDown},
                                                            {"in", &Ptz::ZoomIn},
                                                            {"out", &Ptz::ZoomOut},
                                                            {"home", &Ptz::GoHome}};

int Move(const std::string& which, const std::string& move) {
  const std::optional<Camera> camera = FindCamera(which);
  if (!camera) return kFailed;
  if (camera->GetVendor().empty() || camera->GetModel().empty()) {
    return Failed("the make of camera " + which + " is not known; \"wpctl camera set " + which +
                  " --vendor V --model M\" tells it, \"wpctl capability list\" shows all");
  }
  if (!FindCapability(camera->GetVendor(), camera->GetModel())) return kFailed;
  CAM_PTZ_ID id{CapabilityFile(), camera->GetVendor(), camera->GetModel()};
  const std::string port = std::to_string(camera->GetPort());
  Ptz lens(camera->GetHost().c_str(),
           port.c_str(),
           camera->GetUsername().c_str(),
           camera->GetPassword().c_str(),
           &id);
  switch ((lens.*kMoves.at(move))()) {
    case PTZ_OK:
      return kDone;
    case PTZ_ERR_UNSUPPORTED:
      return Failed("camera " + which + " cannot move " + move);
    case PTZ_ERR_RESPONSE:
      return Failed("camera " + which + " refuses the command; are user name and password right?");
    case PTZ_ERR_CONNECT:
      return Failed("camera " + which + " cannot be reached");
    default:
      return Failed("out of memory");
  }
}

}  // namespace

void AddCapabilityCommands(CLI::App& app, int& status) {
  CLI::App* group =
      app.add_subcommand("capability", "What is known of cameras")->require_subcommand(1);
  const auto as_json = std::make_shared<bool>(false);
  CLI::App* list = group->add_subcommand("list", "Show all makes");
  list->add_flag("--json", *as_json, "For scripts");
  list->footer("They come from " + CapabilityFile() + ".\n\nExamples:\n  wpctl capability list");
  list->callback([&status, as_json] { status = List(*as_json); });
  CLI::App* show = group->add_subcommand("show", "Show one make's port and paths");
  const auto vendor = std::make_shared<std::string>();
  const auto model = std::make_shared<std::string>();
  show->add_option("VENDOR", *vendor, "Maker's name")->required();
  show->add_option("MODEL", *model, "Model's name")->required();
  show->add_flag("--json", *as_json, "For scripts");
  show->footer("Examples:\n  wpctl capability show Generic \"MJPEG 1\"");
  show->callback([&status, vendor, model, as_json] { status = Show(*vendor, *model, *as_json); });
}

void AddPtzCommand(CLI::App& camera_group, int& status) {
  CLI::App* verb = camera_group.add_subcommand("ptz", "Move a camera's lens");
  const auto which = std::make_shared<std::string>();
  const auto move = std::make_shared<std::string>();
  verb->add_option("CAMERA", *which, "Id or name")->required();
  verb->add_option("MOVE", *move, "left, right, up, down, in, out or home")
      ->required()
      ->check(CLI::IsMember({"left", "right", "up", "down", "in", "out", "home"}));
  verb->footer("Examples:\n  wpctl camera ptz Yard left\n  wpctl camera ptz Yard home");
  verb->callback([&status, which, move] { status = Move(*which, *move); });
}

}  // namespace wpctl
