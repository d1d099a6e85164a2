// wpctl camera tune: what a sensitivity means, from live pictures or from what was recorded.

#include <signal.h>
#include <watchpost/camera/motiondetection.h>
#include <watchpost/motion/motionsequence.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
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
  BlockEndingSignals();
  Watcher watcher(camera.GetId(), [&](const watchpost::LiveFrame& frame) {
    level = motion.Look(frame.data, frame.size).level;
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
    std::fflush(stdout);
  } while (!WaitForEndingSignal() && (options.seconds == 0 || tenths < 10 * options.seconds));
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

int TuneFromRecordings(const TuneOptions& options) {
  struct Levels {
    std::string values;
    double fps;
  };
  std::vector<Levels> all;
  long frames = 0;
  double seconds = 0;
  int recorded_with = -1;
  for (const int id : options.events) {
    const std::optional<Recording> recording = FindRecording(id);
    if (!recording) return kFailed;
    const std::optional<std::string> levels = MotionLevels(*recording, recorded_with);
    if (!levels) {
      return Failed(
          "recording " + std::to_string(id) +
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
  return kDone;
}

int Tune(const TuneOptions& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  return options.events.empty() ? TuneLive(*camera, options) : TuneFromRecordings(options);
}

}  // namespace

void AddTuneCommand(CLI::App& camera_group, int& status) {
  CLI::App* verb = camera_group.add_subcommand("tune", "Show what a camera's sensitivity means");
  const auto options = std::make_shared<TuneOptions>();
  verb->add_option("CAMERA", options->camera, "Id or name")->required();
  verb->add_option("--sensitivity", options->sensitivity, "Live: try this one (0 to 100)")
      ->check(CLI::Range(0, 100));
  verb->add_option("--seconds", options->seconds, "Live: end after so many seconds")
      ->check(CLI::Range(1, 1000000));
  verb->add_option("--from",
                   options->events,
                   "What other sensitivities would have recorded of these recordings");
  verb->add_option("--before", options->before, "Seconds recorded before motion")
      ->check(CLI::Range(0, 60))
      ->capture_default_str();
  verb->add_option("--after", options->after, "Seconds recorded after motion")
      ->check(CLI::Range(1, 600))
      ->capture_default_str();
  verb->add_flag("--json", options->json, "With --from, for scripts");
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
