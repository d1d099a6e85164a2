// How well motion is distinguished from what is none: precision and recall of the levels of
// camsim's scenes against the truth that the scenes know, as the table of docs/motion.md.

#include <watchpost/motion/motionsequence.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "camsim/scene.h"

namespace {

constexpr double kFps = 10;
constexpr int kFrames = 600;
constexpr std::array kSensitivities{70, 90, 98};
constexpr int kSecondsAfter = 5;

struct Score {
  int right = 0;   // frames with motion that were found
  int wrong = 0;   // frames without that were reported as motion
  int missed = 0;  // frames with motion that were not
  int highest_still = 0;
  int events = 0;      // crossings
  int events_hit = 0;  // crossings of which a frame was found
  int recorded = 0;    // seconds that would have been recorded, 5 s after motion included
};

Score Measure(const camsim::SceneOptions& scene,
              const std::vector<camsim::Jpeg>& frames,
              int sensitivity,
              bool fast) {
  watchpost::MotionSequence motion({}, sensitivity, fast);
  Score score;
  bool was_moving = false;
  bool hit = false;
  int record_until = -1;
  int recorded_frames = 0;
  for (int i = 0; i < kFrames; ++i) {
    const camsim::Jpeg& frame = frames[static_cast<std::size_t>(i)];
    const auto result = motion.Compare(frame.data(), static_cast<int>(frame.size()));
    const bool moves = camsim::HasMotion(scene, static_cast<std::uint64_t>(i));
    if (moves && !was_moving) {
      ++score.events;
      hit = false;
    }
    if (moves && result.motion && !hit) {
      hit = true;
      ++score.events_hit;
    }
    was_moving = moves;
    if (result.motion) record_until = i + static_cast<int>(kSecondsAfter * kFps);
    if (i <= record_until) ++recorded_frames;
    score.right += moves && result.motion ? 1 : 0;
    score.wrong += !moves && result.motion ? 1 : 0;
    score.missed += moves && !result.motion ? 1 : 0;
    if (!moves) score.highest_still = std::max(score.highest_still, result.level);
  }
  score.recorded = static_cast<int>(recorded_frames / kFps);
  return score;
}

std::string Share(int part, int whole) {
  if (whole == 0) return "-";
  char text[16];
  (void)std::snprintf(text, sizeof text, "%.2f", static_cast<double>(part) / whole);
  return text;
}

}  // namespace

int main() {
  std::printf(
      "640x480, 60 s at 10 fps, quality 75\n"
      "scene   mode    sensitivity  precision  recall  crossings  s recorded  highest level at "
      "rest\n");
  for (const auto& [name, kind] : camsim::kSceneNames) {
    if (kind == camsim::SceneKind::kBlock) continue;
    camsim::SceneOptions scene;
    scene.kind = kind;
    scene.fps = kFps;
    const auto source = camsim::MakeScene(scene);
    std::vector<camsim::Jpeg> frames;
    for (int i = 0; i < kFrames; ++i)
      frames.push_back(source->Frame(static_cast<std::uint64_t>(i)));
    for (const bool fast : {false, true}) {
      for (const int sensitivity : kSensitivities) {
        const Score score = Measure(scene, frames, sensitivity, fast);
        std::printf("%-7s %-7s %11d  %9s  %6s  %4d of %d  %10d  %21d\n",
                    name.c_str(),
                    fast ? "fast" : "normal",
                    sensitivity,
                    Share(score.right, score.right + score.wrong).c_str(),
                    Share(score.right, score.right + score.missed).c_str(),
                    score.events_hit,
                    score.events,
                    score.recorded,
                    score.highest_still);
      }
    }
  }
  return 0;
}
