// wpctl camera tune: what a sensitivity means, from live pictures or from what was recorded.

#include <signal.h>
#include <watchpost/base/paths.h>
#include <watchpost/camera/motiondetection.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/motion/motionsequence.h>
#include <watchpost/platform/olibfile.h>
#include <watchpost/platform/olibszhash.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "events.h"
#include "progress.h"
#include "report.h"
#include "signals.h"
#include "watcher.h"

namespace wpctl {
namespace {

constexpr int kHighestLevel = 100;
constexpr int kBarWidth = 50;
constexpr std::array kSensitivities{50, 60, 70, 80, 85, 90, 93, 95, 97, 98, 99};

struct TuneOptions {
  std::string camera;
  std::vector<int> events;
  std::optional<int> sensitivity;
  int seconds = 0;
  int before = 5;
  int after = 5;
  bool json = false;
};

// A number of section [wpd], which the daemons go by.
int DaemonSetting(const char* key, int usual) {
  const watchpost::OlibHashPtr section(PshOLIBSzHashAlloc(16));
  OLIBSZHASH* hash = section.get();
  const std::string path = watchpost::ConfigurationFile();
  if (hash == nullptr || OLIBFileGetSection(path.c_str(), "wpd", &hash) < 0) return usual;
  const char* text = SzOLIBSzHashGetValue(hash, key);
  return text == nullptr ? usual : std::atoi(text);
}

std::vector<watchpost::PixelRegion> RegionsOf(const Camera& camera) {
  MotionDetection stored;
  (void)stored.Reload(camera.GetId());  // the id is none below 0
  std::vector<watchpost::PixelRegion> regions;
  for (int i = 0; i < stored.RegionCount(); ++i) {
    const MotionRegion& region = stored.GetRegion(i);
    regions.push_back({region.Left(), region.Top(), region.Right(), region.Bottom()});
  }
  return regions;
}

// "[#####.....|....]  level  12, threshold 20": the level, and where motion begins.
std::string LevelBar(int level, int threshold) {
  std::string bar(kBarWidth, '.');
  std::fill_n(bar.begin(), level * kBarWidth / kHighestLevel, '#');
  bar[static_cast<std::size_t>(std::min(threshold * kBarWidth / kHighestLevel, kBarWidth - 1))] =
      '|';
  char text[96];
  (void)std::snprintf(text,
                      sizeof text,
                      "[%s]  level %3d, motion from %d on%s",
                      bar.c_str(),
                      level,
                      threshold,
                      level >= threshold ? "  MOTION" : "");
  return text;
}

int TuneLive(const Camera& camera, const TuneOptions& options) {
  if (!RequireLivePictures(camera)) return kFailed;
  const int sensitivity = options.sensitivity.value_or(camera.GetSensitivity());
  const int threshold = kHighestLevel - sensitivity;
  watchpost::MotionSequence motion(
      RegionsOf(camera), sensitivity, watchpost::MotionSequence::kUsuallyFast);
  std::atomic<int> level{0};
  std::atomic<int> highest{0};  // since the last line
  std::atomic<bool> outside{false};
  BlockEndingSignals();
  Watcher watcher(camera.GetId(), [&](const watchpost::LiveFrame& frame) {
    const watchpost::MotionResult seen = motion.Compare(frame.data, frame.size);
    level = seen.level;
    outside = seen.outside;
    highest = std::max<int>(highest, level);
    return true;
  });
  Progress progress(false);
  if (progress.IsShown()) std::printf("Sensitivity %d; Ctrl-C ends.\n", sensitivity);
  int tenths = 0;
  do {
    progress.Show(0, LevelBar(level, threshold));
    if (++tenths % 10 != 0 || progress.IsShown()) continue;
    std::printf("%s\n", LevelBar(highest.exchange(0), threshold).c_str());
    if (std::fflush(stdout) != 0) break;  // nobody reads any more
  } while (!WaitForEndingSignal() && (options.seconds == 0 || tenths < 10 * options.seconds));
  if (outside)
    return Failed("none of the camera's regions lies in its picture; see wpctl region list");
  if (watcher.Report().frames == 0)
    return Failed("the camera sent no picture; see wpctl camera watch");
  return kDone;
}

// What one sensitivity would have recorded of a row of levels.
struct Outcome {
  long motion_frames = 0;
  int recordings = 0;
  double seconds = 0;
};

void Judge(const std::string& levels,
           double fps,
           int threshold,
           const TuneOptions& options,
           Outcome& outcome) {
  const auto before = static_cast<long>(options.before * fps);
  const auto after = static_cast<long>(options.after * fps);
  long recorded_to = 0;  // frames before this are recorded, or cannot be any more
  for (long i = 0; i < static_cast<long>(levels.size()); ++i) {
    if (static_cast<unsigned char>(levels[static_cast<std::size_t>(i)]) < threshold) continue;
    ++outcome.motion_frames;
    const long from = std::max(recorded_to, i - before);
    const long to = std::min(i + 1 + after, static_cast<long>(levels.size()));
    if (recorded_to == 0 || i > recorded_to) ++outcome.recordings;
    outcome.seconds += static_cast<double>(to - from) / fps;
    recorded_to = to;
  }
}

int TuneFromRecordings(const Camera& camera, const TuneOptions& options) {
  struct Levels {
    std::string values;
    double fps;
  };
  std::vector<Levels> all;
  long frames = 0;
  double seconds = 0;
  int recorded_with = -1;
  for (const int id : std::set<int>(options.events.begin(), options.events.end())) {
    std::optional<Recording> recording = FindRecording(id);
    if (!recording) return kFailed;
    const std::string title = "recording " + std::to_string(id);
    if (recording->camera.GetId() != camera.GetId())
      return Failed(title + " is one of camera \"" + recording->camera.GetName() + "\"");
    if (!IsEventComplete(recording->camera, recording->event))
      return Failed(title + " is still being recorded");

    const std::optional<std::string> levels = MotionLevels(*recording, recorded_with);
    if (!levels) {
      return Failed(
          title +
          " has no motion levels; \"wpctl camera show\" tells whether the motion log is on");
    }
    const auto duration = static_cast<double>(
        std::max(1L, recording->event.GetStopTime() - recording->event.GetStartTime()));
    all.push_back({*levels, static_cast<double>(levels->size()) / duration});
    frames += static_cast<long>(levels->size());
    seconds += duration;
  }
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  Table table({">SENSITIVITY", ">FRAMES WITH MOTION", ">RECORDINGS", ">RECORDED", ">SHARE", ""});
  for (const int sensitivity : kSensitivities) {
    Outcome outcome;
    for (const Levels& levels : all)
      Judge(levels.values, levels.fps, kHighestLevel - sensitivity, options, outcome);
    json.push_back({{"sensitivity", sensitivity},
                    {"motion_frames", outcome.motion_frames},
                    {"recordings", outcome.recordings},
                    {"seconds", outcome.seconds}});
    char share[16];
    (void)std::snprintf(share, sizeof share, "%.0f %%", 100 * outcome.seconds / seconds);
    table.AddRow({std::to_string(sensitivity),
                  std::to_string(outcome.motion_frames),
                  std::to_string(outcome.recordings),
                  Duration(static_cast<long>(outcome.seconds)),
                  share,
                  sensitivity == recorded_with ? "recorded with this" : ""});
  }
  if (options.json) {
    PrintJson(json);
    return kDone;
  }
  table.Print();
  std::printf("Of %ld frames in %s, with %d s before motion and %d s after it.\n",
              frames,
              Duration(static_cast<long>(seconds)).c_str(),
              options.before,
              options.after);
  std::printf(
      "Recordings by motion hold only what their sensitivity found; continuous ones tell more.\n");
  return kDone;
}

int Tune(const TuneOptions& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  return options.events.empty() ? TuneLive(*camera, options) : TuneFromRecordings(*camera, options);
}

}  // namespace

void AddTuneCommand(CLI::App& camera_group, int& status) {
  CLI::App* verb = camera_group.add_subcommand("tune", "Show what a camera's sensitivity means");
  const auto options = std::make_shared<TuneOptions>();
  options->before = DaemonSetting("motion_before_seconds", options->before);
  options->after = DaemonSetting("motion_after_seconds", options->after);
  verb->add_option("CAMERA", options->camera, "Id or name")->required();
  CLI::Option* sensitivity =
      verb->add_option("--sensitivity", options->sensitivity, "Live: try this one (0 to 100)")
          ->check(CLI::Range(0, 100));
  CLI::Option* seconds =
      verb->add_option("--seconds", options->seconds, "Live: end after so many seconds")
          ->check(CLI::Range(1, 1000000));
  CLI::Option* from =
      verb->add_option("--from",
                       options->events,
                       "What other sensitivities would have recorded of these recordings");
  CLI::Option* before =
      verb->add_option("--before", options->before, "Seconds recorded before motion")
          ->check(CLI::Range(0, 60))
          ->capture_default_str();
  CLI::Option* after = verb->add_option("--after", options->after, "Seconds recorded after motion")
                           ->check(CLI::Range(1, 600))
                           ->capture_default_str();
  CLI::Option* json = verb->add_flag("--json", options->json, "With --from, for scripts");
  from->excludes(sensitivity)->excludes(seconds);
  for (CLI::Option* option : {before, after, json}) option->needs(from);
  verb->footer(
      "Live, the bar is the level of each picture (0 to 100), the mark where motion begins: at 100 "
      "less\n"
      "the sensitivity. --from reads levels that were logged, and decodes nothing.\n"
      "\nExamples:\n"
      "  wpctl camera tune Porch\n"
      "  wpctl camera tune Porch --from 17 18 19\n"
      "  wpctl camera set Porch --sensitivity 95");
  verb->callback([&status, options] { status = Tune(*options); });
}

}  // namespace wpctl
