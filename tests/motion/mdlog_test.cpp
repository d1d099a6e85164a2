#include "motion/mdlog.h"

#include "support/syslogcapture.h"

namespace {

class MotionLog : public ::testing::Test {
 protected:
  int Fetch(int frames) { return FetchMotionLevel(levels_.data(), frames, path_, header_); }

  TempDir dir_;
  std::string path_ = dir_ / "a.avi";
  std::string stream_ = dir_ / "@eaDir/a.avi/ORVAWP:MOTION.log";
  std::array<unsigned char, 8> levels_{};
  int header_ = 7;
};

TEST_F(MotionLog, HoldsCountHeaderAndLevels) {
  {
    MDLog log(path_, 80);
    for (const int level : {5, 0, 100}) EXPECT_EQ(log.WriteLevel(level), 0);
    EXPECT_EQ(ReadFile(stream_), std::string("\0\0\0\0\x50\x05\0\x64", 8))
        << "no count while recording";
  }
  EXPECT_EQ(ReadFile(stream_), std::string("\3\0\0\0\x50\x05\0\x64", 8));
  ASSERT_EQ(Fetch(3), 3);
  EXPECT_EQ(header_, 80);
  EXPECT_EQ(levels_[2], 100);
}

TEST_F(MotionLog, IsRefusedWhenItDoesNotFitTheRecording) {
  const SyslogCapture log;
  EXPECT_EQ(Fetch(0), -1) << "no log";
  EXPECT_EQ(log.Lines(), 0);
  WriteFile(stream_, std::string("\3\0\0\0\0\1\2\3", 8));
  EXPECT_EQ(Fetch(4), -1);
  log.Expect(":FetchMotionLevel(): Frames(4) != Size (3)!\n");
  EXPECT_EQ(Fetch(3), 3);
  EXPECT_EQ(header_, -1) << "a header byte of 0";
  WriteFile(stream_, std::string("\3\0\0\0\0\1\2", 7));
  EXPECT_EQ(Fetch(3), 3) << "levels that are missing at the end";
  WriteFile(stream_, std::string("\xFF\xFF\xFF\xFF\0\1\2", 7));
  EXPECT_EQ(Fetch(-1), -1);
}

TEST_F(MotionLog, ThatCannotBeCreatedTakesNoLevels) {
  MDLog log(dir_ / "no/such/folder/a.avi", 1);
  EXPECT_EQ(log.WriteLevel(1), -1);
}

}  // namespace
