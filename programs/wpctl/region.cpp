// wpctl region add, list, remove: where in a camera's picture motion counts.

#include <watchpost/camera/motiondetection.h>
#include <watchpost/motion/motionsequence.h>
#include <watchpost/service/daemonstate.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cameras.h"
#include "commands.h"
#include "liveframe.h"
#include "quantity.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Options {
  std::string camera;
  std::string name;
  std::string rectangle;
  bool json = false;
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

MotionDetection RegionsOf(const Camera& camera) {
  MotionDetection regions;
  (void)regions.Reload(camera.GetId());  // the id is none below 0
  return regions;
}

// Index of the region of that name; -1 without one.
int IndexOf(MotionDetection& regions, const std::string& name) {
  for (int i = 0; i < regions.RegionCount(); ++i) {
    if (regions.GetRegion(i).Name() == name) return i;
  }
  return -1;
}

int SaveRegions(MotionDetection& regions, const Camera& camera, const std::string& what) {
  if (regions.Save(camera.GetId()) != 0) return Failed("the database did not take the regions");
  std::printf("%s%s.\n",
              Printable(what).c_str(),
              watchpost::NotifyDaemon(camera.GetId()) ? "; the camera's daemon takes it over" : "");
  return kDone;
}

int Add(const Options& options) {
  MotionRegion region(0, 0, 0, 0, options.name);
  if (!ParseRectangle(options.rectangle, region)) {
    return WrongUsage(
        "a region is LEFT,TOP,RIGHT,BOTTOM or WIDTHxHEIGHT+LEFT+TOP in pixels of 0 or more, left "
        "to right and top to bottom, not \"" +
        options.rectangle + "\"");
  }
  if (options.name.find_first_not_of(' ') == std::string::npos ||
      Printable(options.name) != options.name || options.name.size() > 256) {
    return WrongUsage("a region's name has 1 to 256 bytes, and no control characters");
  }
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  constexpr int kWatched = watchpost::MotionSequence::kWatchedPixels;
  if (region.Left() >= kWatched || region.Top() >= kWatched)
    return Failed("motion is detected in the first 2048 pixels across and down only");
  if (LiesOutside(region, *camera)) {
    return Failed("the region lies outside the camera's picture of " +
                  SizeText(camera->GetImageWidth(), camera->GetImageHeight()));
  }
  if (ExceedsWatchedPart(*camera)) SayClipped(*camera);
  MotionDetection regions = RegionsOf(*camera);
  if (IndexOf(regions, options.name) >= 0)
    return Failed("there is a region \"" + options.name + "\" already");
  (void)regions.AddRegion(region);  // always 0
  return SaveRegions(regions, *camera, "Region \"" + options.name + "\" added");
}

int List(const Options& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  MotionDetection regions = RegionsOf(*camera);
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  Table table({"Name", ">Left", ">Top", ">Right", ">Bottom"});
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
  PrintAll(options.json, json, table, "No regions: the whole picture counts.");
  return kDone;
}

int Remove(const Options& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  MotionDetection regions = RegionsOf(*camera);
  const int index = IndexOf(regions, options.name);
  if (index < 0) {
    return Failed("there is no region \"" + options.name + "\"; \"wpctl region list " +
                  options.camera + "\" shows all");
  }
  (void)regions.DeleteRegion(index);  // it is there
  return SaveRegions(regions, *camera, "Region \"" + options.name + "\" removed");
}

}  // namespace

void AddRegionAdd(Group& region) {
  auto [verb, options] = region.Add("add", "Add a region; with any, only they count", Add);
  AddCameraArgument(verb, options.camera);
  verb.Add("NAME", options.name, "What to call the region").Required();
  verb.Add(
          "RECTANGLE",
          options.rectangle,
          "LEFT,TOP,RIGHT,BOTTOM, all included, or WIDTHxHEIGHT+LEFT+TOP, in pixels of the picture")
      .Required();
  AddExamples(
      verb,
      "Motion is detected by blocks of 8x8 pixels: a region counts with every block that it\n"
      "touches.",
      {"wpctl region add Porch door 200,100,330,420", "wpctl region add Porch path 320x120+0+360"});
}

void AddRegionList(Group& region) {
  auto [verb, options] = region.Add("list", "Show a camera's regions", List);
  AddCameraArgument(verb, options.camera);
  AddJson(verb, options.json);
  AddExamples(verb, {"wpctl region list Porch"});
}

void AddRegionRemove(Group& region) {
  auto [verb, options] = region.Add("remove", "Remove a region", Remove);
  AddCameraArgument(verb, options.camera);
  verb.Add("NAME", options.name, "The region's name").Required();
  AddExamples(verb, {"wpctl region remove Porch door"});
}

}  // namespace wpctl
