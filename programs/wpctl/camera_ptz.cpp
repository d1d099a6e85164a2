// wpctl camera ptz

#include <watchpost/net/ptz.h>

#include <map>
#include <optional>
#include <string>

#include "cameras.h"
#include "capabilityfile.h"
#include "commands.h"
#include "report.h"
#include "timelimit.h"
#include "verb.h"

namespace wpctl {
namespace {

const std::map<std::string, int (Ptz::*)() noexcept> kMoves{{"left", &Ptz::MoveLeft},
                                                            {"right", &Ptz::MoveRight},
                                                            {"up", &Ptz::MoveUp},
                                                            {"down", &Ptz::MoveDown},
                                                            {"in", &Ptz::ZoomIn},
                                                            {"out", &Ptz::ZoomOut},
                                                            {"home", &Ptz::GoHome}};

struct Options {
  std::string camera;
  std::string move;
};

int Move(const Options& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  const std::string title = "camera " + options.camera;
  if (camera->GetVendor().empty() || camera->GetModel().empty()) {
    return Failed("the make of " + title + " is not known; name it with \"wpctl camera set " +
                  options.camera + " --vendor V --model M\", \"wpctl capability list\" shows all");
  }
  if (!FindCapability(camera->GetVendor(), camera->GetModel())) return kFailed;
  CAM_PTZ_ID id{CapabilityFile(), camera->GetVendor(), camera->GetModel()};
  const std::string port = std::to_string(camera->GetPort());
  Ptz lens(camera->GetHost().c_str(),
           port.c_str(),
           camera->GetUsername().c_str(),
           camera->GetPassword().c_str(),
           &id);
  constexpr int kLongest = 20;  // seconds
  const TimeLimit limit(kLongest);
  const int result = (lens.*kMoves.at(options.move))();
  if (result != PTZ_OK && limit.IsOver())
    return Failed(title + " did not answer within " + std::to_string(kLongest) + " s");
  switch (result) {
    case PTZ_OK:
      return kDone;
    case PTZ_ERR_UNSUPPORTED:
      return Failed(title + " cannot move " + options.move);
    case PTZ_ERR_RESPONSE:
      return Failed(title + " refuses the command; are user name and password right?");
    case PTZ_ERR_CONNECT:
      return Failed(title + " cannot be reached");
    default:
      return Failed("out of memory");
  }
}

}  // namespace

void AddCameraPtz(Group& camera) {
  auto [verb, options] = camera.Add("ptz", "Move a camera's lens", Move);
  AddCameraArgument(verb, options.camera);
  verb.Add("MOVE", options.move, "left, right, up, down, in, out or home")
      .Required()
      .OneOf({"left", "right", "up", "down", "in", "out", "home"});
  AddExamples(verb, {"wpctl camera ptz Yard left", "wpctl camera ptz Yard home"});
}

}  // namespace wpctl
