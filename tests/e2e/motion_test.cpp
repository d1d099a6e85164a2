#include <signal.h>

#include <cstdio>

#include "e2e/appliance.h"

namespace watchpost::test {
namespace {

constexpr int kFps = 10;
constexpr int kBefore = 2;
constexpr int kAfter = 2;

struct Truth {
  int number;
  bool moves;
};

// What the simulated camera wrote into the comment of each frame.
std::vector<Truth> TruthOf(const std::string& file) {
  std::vector<Truth> truth;
  for (const std::string& frame : ReadFrames(file)) {
    const std::size_t at = frame.find("frame ");
    Truth one{};
    int moves = 0;
    if (at == std::string::npos ||
        std::sscanf(frame.c_str() + at, "frame %d motion %d", &one.number, &moves) != 2) {
      ADD_FAILURE() << "a frame without truth";
      return truth;
    }
    one.moves = moves != 0;
    truth.push_back(one);
  }
  return truth;
}

class Motion : public Appliance {
 protected:
  Motion() : Appliance("motion_before_seconds=2\nmotion_after_seconds=2\n") {}

  // Recordings that are finished.
  nlohmann::json Finished(const std::string& id) {
    nlohmann::json finished = nlohmann::json::array();
    const time_t now = time(nullptr);
    for (const auto& row : Rows(id)) {
      if (row["stop"].get<long>() + kAfter + 1 < now) finished.push_back(row);
    }
    return finished;
  }
};

TEST_F(Motion, RecordsCrossingsWithTheSecondsAroundThemAndNothingElse) {
  const Simulator camera({"--scene", "person", "--fps", std::to_string(kFps), "--size", "320x240"});
  const std::string id = AddCamera("Porch", camera.Url());
  ASSERT_EQ(Ctl({"schedule", "set", id, "all motion"}).status, 0);
  ASSERT_EQ(Ctl({"camera", "set", id, "--sensitivity", "97"}).status, 0);
  const auto daemon = StartDaemon(id);
  const Result live = Ctl({"camera", "tune", id, "--seconds", "2"});
  EXPECT_EQ(live.status, 0) << live.errors;
  EXPECT_NE(live.output.find("motion from 3 on"), std::string::npos) << live.output;
  ASSERT_TRUE(Eventually([&] { return Finished(id).size() == 2; }, std::chrono::seconds(40)));

  // What moves outside the regions does not count; the daemon takes them over as it runs.
  ASSERT_EQ(Ctl({"region", "add", id, "sky", "0,0,319,60"}).status, 0);
  EXPECT_EQ(CtlJson({"region", "list", id})[0]["bottom"], 60);
  std::this_thread::sleep_for(
      std::chrono::seconds(kAfter + 2));  // a crossing that has begun by now
  const std::size_t before_sky = Rows(id).size();
  std::this_thread::sleep_for(std::chrono::seconds(11));  // another one
  StopDaemon(*daemon, SIGTERM);

  const auto rows = Rows(id);
  ASSERT_EQ(rows.size(), before_sky);
  ASSERT_GE(rows.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    const auto& row = rows[i];
    EXPECT_EQ(row["cause"], "motion");
    const std::string file = Folder("Porch") + "/" + row["path"].get<std::string>();
    EXPECT_EQ(ProbeFrames(file), row["frames"]);
    const std::vector<Truth> truth = TruthOf(file);
    ASSERT_EQ(truth.size(), row["frames"].get<std::size_t>());
    int before = 0;
    while (!truth[static_cast<std::size_t>(before)].moves) ++before;
    const auto moving = std::count_if(truth.begin(), truth.end(), [](Truth t) { return t.moves; });
    const int after = static_cast<int>(truth.size()) - before - static_cast<int>(moving);
    EXPECT_EQ(moving, 3 * kFps) << "the whole crossing";
    EXPECT_NEAR(before, kBefore * kFps, 3);
    EXPECT_NEAR(after, kAfter * kFps, 3);
    EXPECT_EQ(truth.back().number - truth.front().number + 1, static_cast<int>(truth.size()));
    const auto tuned =
        CtlJson({"camera", "tune", id, "--from", std::to_string(row["id"].get<int>())});
    const auto at = [&tuned](int sensitivity) {
      for (const auto& line : tuned) {
        if (line["sensitivity"] == sensitivity) return line;
      }
      return nlohmann::json();
    };
    EXPECT_NEAR(at(97)["motion_frames"].get<double>(), 3 * kFps, 4);
    EXPECT_EQ(at(97)["recordings"], 1);
    EXPECT_LT(at(50)["motion_frames"], at(97)["motion_frames"]);
  }
}

TEST_F(Motion, TroubleIsNoMotion) {
  const Simulator camera({"--scene", "noise", "--fps", "20", "--size", "160x120"});
  const std::string id = AddCamera("Porch", camera.Url());
  ASSERT_EQ(Ctl({"schedule", "set", id, "all motion"}).status, 0);
  ASSERT_EQ(Ctl({"camera", "set", id, "--sensitivity", "90"}).status, 0);
  const auto daemon = StartDaemon(id);
  for (const char* fault : {"broken:10", "drop:15", "rubbish", "none"}) {
    camera.Fault(fault);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  }
  EXPECT_TRUE(Eventually([&] {
    return Ctl({"camera", "watch", id, "--frames", "5"}).status == 0;
  }));
  StopDaemon(*daemon, SIGTERM);
  EXPECT_EQ(Rows(id).size(), 0U);
}

}  // namespace
}  // namespace watchpost::test
