// wpctl camera tune: what a sensitivity means, live or for what was recorded.

#include <watchpost/camera/motiondetection.h>
#include <watchpost/motion/motionsequence.h>
#include <watchpost/service/daemonsettings.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "liveframe.h"
#include "progress.h"
#include "quantity.h"
#include "recordings.h"
#include "report.h"
#include "signals.h"
#include "timetext.h"
#include "verb.h"
#include "watcher.h"

namespace wpctl {
namespace {

constexpr int kHighestLevel = 100;
constexpr int kBarWidth = 50;
constexpr std::array kSensitivities{50, 60, 70, 80, 85, 90, 93, 95, 97, 98, 99};

struct Options {
  std::string camera;
  std::vector<int> recordings;
  std::optional<int> sensitivity;
  int seconds = 0;
  int before = 0;
  int after = 0;
  bool json = false;
};

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

int TuneLive(const Camera& camera, const Options& options) {
  if (!RequireLiveFrames(camera)) return kFailed;
  const int sensitivity = options.sensitivity.value_or(camera.GetSensitivity());
  const int threshold = kHighestLevel - sensitivity;
  MotionDetection regions;
  if (!regions.Read(camera.GetId())) return Failed("the camera's regions could not be read");
  watchpost::MotionSequence motion(
      regions.Rectangles(), sensitivity, watchpost::MotionSequence::kUsuallyFast);
  std::atomic<int> level{0};
  std::atomic<int> highest{0};  // since the last line
  std::atomic<bool> outside{false};
  std::atomic<bool> clipped{false};
  BlockEndingSignals();
  Watcher watcher(camera.GetId(), [&](const watchpost::LiveFrame& frame) {
    const watchpost::MotionResult result = motion.Compare(frame.data, frame.size);
    level = result.level;
    outside = result.outside;
    clipped = clipped || result.clipped;
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
  if (clipped || ExceedsWatchedPart(camera)) SayClipped(camera);
  if (outside)
    return Failed("none of the camera's regions lies in its picture; see wpctl region list");
  if (watcher.Report().frames == 0)
    return Failed("the camera sent no frame; see wpctl camera watch");
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
           const Options& options,
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

// The logged levels of some recordings.
struct Logged {
  struct Levels {
    std::string values;
    double fps;
  };
  std::vector<Levels> recordings;
  long frames = 0;
  double seconds = 0;
  int sensitivity = -1;  // which the last of them was recorded with
  bool clipped = false;  // motion was found in a part of one's picture only
};

// Nothing, with an explanation, when one of them has no levels or belongs to another camera.
std::optional<Logged> ReadLogged(const Camera& camera, const Options& options) {
  Logged logged;
  for (const int id : std::set<int>(options.recordings.begin(), options.recordings.end())) {
    const std::optional<Recording> recording = FindFinishedRecording(id);
    if (!recording) return std::nullopt;
    const std::string title = "recording " + std::to_string(id);
    if (recording->camera.GetId() != camera.GetId()) {
      (void)Failed(title + " is one of camera \"" + recording->camera.GetName() + "\"");
      return std::nullopt;
    }
    const std::optional<std::string> levels = MotionLevels(*recording, logged.sensitivity);
    if (!levels) {
      (void)Failed(
          title + " has no motion levels; \"wpctl camera show\" says whether the motion log is on");
      return std::nullopt;
    }
    const auto duration = static_cast<double>(
        std::max(1L, recording->event.GetStopTime() - recording->event.GetStartTime()));
    logged.recordings.push_back({*levels, static_cast<double>(levels->size()) / duration});
    const Event& event = recording->event;
    logged.clipped =
        logged.clipped || ExceedsWatchedPart(event.GetVideoWidth(), event.GetVideoHeight());
    logged.frames += static_cast<long>(levels->size());
    logged.seconds += duration;
  }
  return logged;
}

int TuneFromRecordings(const Camera& camera, const Options& options) {
  const std::optional<Logged> logged = ReadLogged(camera, options);
  if (!logged) return kFailed;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  Table table({">Sensitivity", ">Frames with motion", ">Recordings", ">Recorded", ">Share", ""});
  for (const int sensitivity : kSensitivities) {
    Outcome outcome;
    for (const Logged::Levels& levels : logged->recordings)
      Judge(levels.values, levels.fps, kHighestLevel - sensitivity, options, outcome);
    json.push_back({{"sensitivity", sensitivity},
                    {"motion_frames", outcome.motion_frames},
                    {"recordings", outcome.recordings},
                    {"seconds", outcome.seconds}});
    table.AddRow({std::to_string(sensitivity),
                  std::to_string(outcome.motion_frames),
                  std::to_string(outcome.recordings),
                  Duration(static_cast<long>(outcome.seconds)),
                  Decimal(100 * outcome.seconds / logged->seconds, 0) + " %",
                  sensitivity == logged->sensitivity ? "recorded with this" : ""});
  }
  if (options.json) {
    PrintJson(json);
    return kDone;
  }
  table.Print();
  if (logged->clipped) SayClipped(camera);
  std::printf("Of %ld frames in %s, with %d s before motion and %d s after it.\n",
              logged->frames,
              Duration(static_cast<long>(logged->seconds)).c_str(),
              options.before,
              options.after);
  std::printf(
      "Recordings by motion hold only what their sensitivity found; continuous ones show more.\n");
  return kDone;
}

int Tune(const Options& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  return options.recordings.empty() ? TuneLive(*camera, options)
                                    : TuneFromRecordings(*camera, options);
}

}  // namespace

void AddCameraTune(Group& camera) {
  auto [verb, options] = camera.Add("tune", "Show what a camera's sensitivity means", Tune);
  std::vector<std::string> problems;  // which the daemons report
  const watchpost::DaemonSettings settings = watchpost::LoadDaemonSettings(problems);
  options.before = static_cast<int>(settings.motion_before.count());
  options.after = static_cast<int>(settings.motion_after.count());
  AddCameraArgument(verb, options.camera);
  const Option sensitivity =
      verb.Add("--sensitivity", options.sensitivity, "Live: try this one (0 to 100)")
          .Between(0, 100);
  const Option seconds =
      verb.Add("--seconds", options.seconds, "Live: end after so many seconds").Between(1, 1000000);
  const Option from = verb.Add("--from",
                               options.recordings,
                               "What other sensitivities would have recorded of these recordings");
  const Option before = verb.Add("--before", options.before, "Seconds recorded before motion")
                            .Between(0, 60)
                            .ShowDefault();
  const Option after = verb.Add("--after", options.after, "Seconds recorded after motion")
                           .Between(1, 600)
                           .ShowDefault();
  const Option json = AddJson(verb, options.json, "With --from, for scripts");
  from.Excludes(sensitivity).Excludes(seconds);
  for (const Option& option : {before, after, json}) option.Needs(from);
  AddExamples(
      verb,
      "Live, the bar is the level of each frame (0 to 100), the mark where motion begins: at\n"
      "100 less the sensitivity. --from reads levels that were logged, and decodes nothing.",
      {"wpctl camera tune Porch",
       "wpctl camera tune Porch --from 17 18 19",
       "wpctl camera set Porch --sensitivity 95"});
}

}  // namespace wpctl
