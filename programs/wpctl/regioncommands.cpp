// wpctl region: where in a camera's picture motion counts.

#include <watchpost/camera/motiondetection.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "cameras.h"
#include "commands.h"
#include "report.h"

namespace wpctl {
namespace {

struct RegionArguments {
  std::string camera;
  std::string name;
  std::string rectangle;
  bool as_json = false;
};

// "LEFT,TOP,RIGHT,BOTTOM" or "WIDTHxHEIGHT+LEFT+TOP"; false when it is neither.
bool ParseRectangle(const std::string& text, MotionRegion& region) {
  int a = 0;
  int b = 0;
  int c = 0;
  int d = 0;
  int end = 0;
  const int length = static_cast<int>(text.size());
  if (std::sscanf(text.c_str(), "%6d,%6d,%6d,%6d%n", &a, &b, &c, &d, &end) == 4 && end == length) {
    region.Set(a, b, c, d, region.Name());
  } else if (std::sscanf(text.c_str(), "%6dx%6d+%6d+%6d%n", &a, &b, &c, &d, &end) == 4 &&
             end == length) {
    region.Set(c, d, c + a - 1, d + b - 1, region.Name());
  } else {
    return false;
  }
  return region.Left() >= 0 && region.Top() >= 0 && region.Left() <= region.Right() &&
         region.Top() <= region.Bottom();
}

bool LiesOutside(const MotionRegion& region, const Camera& camera) {
  const int width = camera.GetImageWidth();
  const int height = camera.GetImageHeight();
  return (width > 0 && region.Left() >= width) || (height > 0 && region.Top() >= height);
}

int SaveRegions(MotionDetection& regions, const Camera& camera, const std::string& what) {
  if (regions.Save(camera.GetId()) != 0) return Failed("the database did not take the regions");
  std::printf("%s%s.\n",
              Printable(what).c_str(),
              NotifyDaemon(camera.GetId()) ? "; the camera's daemon takes it over" : "");
  return kDone;
}

int Add(const RegionArguments& arguments) {
  MotionRegion region(0, 0, 0, 0, arguments.name);
  if (!ParseRectangle(arguments.rectangle, region)) {
    return WrongUsage(
        "a region is LEFT,TOP,RIGHT,BOTTOM or WIDTHxHEIGHT+LEFT+TOP in pixels of 0 or more, left "
        "to right and top to bottom, not \"" +
        arguments.rectangle + "\"");
  }
  if (arguments.name.find_first_not_of(' ') == std::string::npos ||
      Printable(arguments.name) != arguments.name || arguments.name.size() > 256) {
    return WrongUsage("a region's name has 1 to 256 bytes, and no control characters");
  }
  const std::optional<Camera> camera = FindCamera(arguments.camera);
  if (!camera) return kFailed;
  constexpr int kWatched = 2048;
  if (region.Left() >= kWatched || region.Top() >= kWatched)
    return Failed("motion is told in the first 2048 pixels across and down only");
  if (LiesOutside(region, *camera)) {
    return Failed("the region lies outside the camera's picture of " +
                  std::to_string(camera->GetImageWidth()) + "x" +
                  std::to_string(camera->GetImageHeight()));
  }
  MotionDetection regions;
  (void)regions.Reload(camera->GetId());  // the id is none below 0
  for (int i = 0; i < regions.RegionCount(); ++i) {
    if (regions.GetRegion(i).Name() == arguments.name)
      return Failed("there is a region \"" + arguments.name + "\" already");
  }
  (void)regions.AddRegion(region);  // always 0
  return SaveRegions(regions, *camera, "Region \"" + arguments.name + "\" added");
}

int List(const RegionArguments& arguments) {
  const std::optional<Camera> camera = FindCamera(arguments.camera);
  if (!camera) return kFailed;
  MotionDetection regions;
  (void)regions.Reload(camera->GetId());  // the id is none below 0
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  Table table({"NAME", ">LEFT", ">TOP", ">RIGHT", ">BOTTOM"});
  for (int i = 0; i < regions.RegionCount(); ++i) {
    const MotionRegion& region = regions.GetRegion(i);
    json.push_back({{"name", region.Name()},
                    {"left", region.Left()},
                    {"top", region.Top()},
                    {"right", region.Right()},
                    {"bottom", region.Bottom()}});
    table.AddRow({region.Name(),
                  std::to_string(region.Left()),
                  std::to_string(region.Top()),
                  std::to_string(region.Right()),
                  std::to_string(region.Bottom())});
  }
  if (arguments.as_json) {
    PrintJson(json);
  } else if (regions.RegionCount() == 0) {
    std::printf("No regions: the whole picture counts.\n");
  } else {
    table.Print();
  }
  return kDone;
}

int Remove(const RegionArguments& arguments) {
  const std::optional<Camera> camera = FindCamera(arguments.camera);
  if (!camera) return kFailed;
  MotionDetection regions;
  (void)regions.Reload(camera->GetId());  // the id is none below 0
  for (int i = 0; i < regions.RegionCount(); ++i) {
    if (regions.GetRegion(i).Name() != arguments.name) continue;
    (void)regions.DeleteRegion(i);  // it is there
    return SaveRegions(regions, *camera, "Region \"" + arguments.name + "\" removed");
  }
  return Failed("there is no region \"" + arguments.name + "\"; \"wpctl region list " +
                arguments.camera + "\" shows all");
}

}  // namespace

void AddRegionCommands(CLI::App& app, int& status) {
  CLI::App* group = app.add_subcommand("region", "Where in a camera's picture motion counts")
                        ->require_subcommand(1);
  const auto arguments = std::make_shared<RegionArguments>();

  CLI::App* add = group->add_subcommand("add", "Add a region; with any, only they count");
  add->add_option("CAMERA", arguments->camera, "Id or name")->required();
  add->add_option("NAME", arguments->name, "What to call the region")->required();
  add->add_option(
         "RECTANGLE",
         arguments->rectangle,
         "LEFT,TOP,RIGHT,BOTTOM, all included, or WIDTHxHEIGHT+LEFT+TOP, in pixels of the picture")
      ->required();
  add->footer(
      "Motion is told by blocks of 8x8 pixels: a region counts with every block that it touches.\n"
      "\nExamples:\n"
      "  wpctl region add Porch door 200,100,330,420\n"
      "  wpctl region add Porch path 320x120+0+360");
  add->callback([&status, arguments] { status = Add(*arguments); });

  CLI::App* list = group->add_subcommand("list", "Show a camera's regions");
  list->add_option("CAMERA", arguments->camera, "Id or name")->required();
  list->add_flag("--json", arguments->as_json, "For scripts");
  list->footer("Examples:\n  wpctl region list Porch");
  list->callback([&status, arguments] { status = List(*arguments); });

  CLI::App* remove = group->add_subcommand("remove", "Remove a region");
  remove->add_option("CAMERA", arguments->camera, "Id or name")->required();
  remove->add_option("NAME", arguments->name, "The region's name")->required();
  remove->footer("Examples:\n  wpctl region remove Porch door");
  remove->callback([&status, arguments] { status = Remove(*arguments); });
}

}  // namespace wpctl
