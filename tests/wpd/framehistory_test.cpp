#include "framehistory.h"

#include "motiongate.h"
#include "support/jpegs.h"
#include "support/test.h"

namespace wpd {
namespace {

Frame At(milliseconds when, const std::vector<unsigned char>& bytes) {
  const auto size = static_cast<std::uint32_t>(bytes.size());
  return {bytes.data(), size, {64, 48}, {}, std::chrono::steady_clock::time_point(when)};
}

std::vector<int> Levels(const FrameHistory& history) {
  std::vector<int> levels;
  for (const auto& kept : history.Frames()) levels.push_back(kept.level);
  return levels;
}

TEST(FrameHistory, KeepsTheFramesOfItsSpan) {
  FrameHistory history(seconds(2), 1000);
  for (int i = 0; i <= 30; ++i) {
    const std::vector<unsigned char> bytes(10, static_cast<unsigned char>(i));  // gone by the next
    EXPECT_TRUE(history.Add(At(milliseconds(100 * i), bytes), i));
  }
  ASSERT_EQ(history.Frames().size(), 21U);
  for (const auto& kept : history.Frames()) EXPECT_EQ(kept.frame.data[9], kept.level);
  EXPECT_EQ(history.Frames().front().level, 10);
  EXPECT_TRUE(history.Add(At(seconds(100), {1}), 0)) << "old frames are not missing ones";
  EXPECT_THAT(Levels(history), ElementsAre(0));
}

TEST(FrameHistory, KeepsNoMoreBytesThanItMay) {
  FrameHistory history(seconds(2), 100);
  const std::vector<unsigned char> bytes(100);
  EXPECT_TRUE(history.Add(At({}, {bytes.begin(), bytes.begin() + 60}), 1));
  EXPECT_TRUE(history.Add(At({}, {bytes.begin(), bytes.begin() + 40}), 2));
  EXPECT_FALSE(history.Add(At({}, {1}), 3));
  EXPECT_THAT(Levels(history), ElementsAre(2, 3));
  EXPECT_FALSE(history.Add(At({}, std::vector<unsigned char>(101)), 4)) << "larger than all";
  EXPECT_THAT(Levels(history), IsEmpty());
  EXPECT_TRUE(history.Add(At({}, bytes), 5));
  history.Clear();
  EXPECT_TRUE(history.Add(At({}, bytes), 6)) << "cleared bytes do not count";
  FrameHistory none(seconds(0), 100);
  EXPECT_TRUE(none.Add(At({}, bytes), 7));
  EXPECT_THAT(Levels(none), IsEmpty());
}

class Gate : public ::testing::Test {
 protected:
  void Schedule(RecordingType mode) {
    for (int slot = 0; slot < 7 * 24; ++slot)
      (void)record_.camera.SetSchedule(slot / 24, slot % 24, mode);
  }
  static GateDecision Judge(MotionGate& gate, int second, unsigned int seed) {
    const Jpeg picture = MakeJpeg({64, 48}, seed);
    const Frame frame = At(seconds(second), picture);
    const GateDecision decision = gate.Judge(frame);
    gate.Remember(frame, decision);
    return decision;
  }

  watchpost::DaemonSettings settings_;
  CameraRecord record_;
  Mailer mailer_;
};

TEST_F(Gate, WantsFramesFromMotionUntilSomeSecondsAfterIt) {
  settings_.motion_before = seconds(2);
  settings_.motion_after = seconds(3);
  Schedule(RECORDING_MOTION);
  (void)record_.camera.SetSensitivity(90);
  MotionGate gate(settings_, record_, mailer_);
  std::string wanted;
  // Something moves in the fourth second only: the picture becomes another one.
  for (int second = 0; second < 9; ++second)
    wanted += Judge(gate, 100 + second, second < 3 ? 1 : 2).wanted ? '+' : '-';
  EXPECT_EQ(wanted, "---++++--");
  EXPECT_THAT(gate.History().Frames(), SizeIs(3)) << "2 s, both ends included";
  gate.Reset();
  EXPECT_FALSE(Judge(gate, 110, 1).wanted) << "nothing to compare with";

  Schedule(RECORDING_NONE);
  EXPECT_FALSE(gate.SetRecord(record_)) << "the schedule is not how motion is judged";
  EXPECT_FALSE(Judge(gate, 111, 2).wanted);
  Schedule(RECORDING_CONTINUOUS);
  (void)record_.camera.SetSensitivity(10);
  EXPECT_TRUE(gate.SetRecord(record_));
  EXPECT_TRUE(Judge(gate, 112, 2).wanted);
}

TEST_F(Gate, TakesWhatCannotBeJudgedForMotion) {
  Schedule(RECORDING_MOTION);
  const std::vector<unsigned char> damaged = {0xFF, 0xD8, 0xFF, 0xC0, 0, 2, 0xFF, 0xD9};
  for (const bool record : {true, false}) {
    settings_.record_unjudged = record;
    MotionGate gate(settings_, record_, mailer_);
    EXPECT_EQ(gate.Judge(At(seconds(100), damaged)).wanted, record);
  }
  // Without an end marker a picture is judged all the same.
  MotionGate gate(settings_, record_, mailer_);
  Jpeg endless = MakeJpeg({64, 48}, 1);
  endless.resize(endless.size() - 2);
  EXPECT_FALSE(gate.Judge(At(seconds(100), endless)).wanted);
  EXPECT_FALSE(gate.Judge(At(seconds(101), endless)).wanted);
}

}  // namespace
}  // namespace wpd
