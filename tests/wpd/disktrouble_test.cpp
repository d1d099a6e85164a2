#include "disktrouble.h"

#include "support/test.h"

namespace wpd {
namespace {

using State = DiskTrouble::State;

class Disk : public ::testing::Test {
 protected:
  Disk() { camera_.SetStoragePath(folder_.Path()); }

  // Suspends recording and expects a pause of that length, after which there is `then`.
  void ExpectPause(DiskTrouble& trouble, seconds pause, State then) {
    const auto before = DiskTrouble::Clock::now();
    trouble.Suspend(camera_, "no room");
    const auto after = DiskTrouble::Clock::now();
    EXPECT_EQ(trouble.Check(camera_, before + pause - milliseconds(1)), State::kPaused);
    EXPECT_EQ(trouble.Check(camera_, after + pause), then) << pause.count();
  }

  TempDir folder_;
  watchpost::DaemonSettings settings_;
  Camera camera_;
  Mailer mailer_;
};

TEST_F(Disk, PausesLongerAndLongerUntilAFrameIsWritten) {
  settings_.reserve_bytes = 0;
  DiskTrouble trouble(settings_, camera_, mailer_);
  trouble.ReportOnce(camera_, "something else");
  EXPECT_EQ(trouble.Check(camera_, {}), State::kRecording) << "reports are no pause";
  for (const int pause : {1, 2, 4, 8, 16, 30, 30})
    ExpectPause(trouble, seconds(pause), State::kOver);
  trouble.End();
  EXPECT_EQ(trouble.Check(camera_, {}), State::kRecording);
  ExpectPause(trouble, seconds(1), State::kOver);
}

}  // namespace
}  // namespace wpd
