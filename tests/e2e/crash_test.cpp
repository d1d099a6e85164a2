// What a daemon that is killed leaves, and what its successor makes of it. WATCHPOST_CRASHES makes
// the run longer.
#include "e2e/appliance.h"

namespace {

class Crash : public Appliance {};

TEST_F(Crash, CostsNoFrameThatWasWritten) {
  const char* text = std::getenv("WATCHPOST_CRASHES");
  const int crashes = text == nullptr ? 5 : std::atoi(text);
  RecordedCamera porch("--size 160x120 --fps 50");
  std::mt19937 random(11);
  std::vector<long> killed;
  for (int i = 0; i < crashes; ++i) {
    porch.Start();
    std::this_thread::sleep_for(milliseconds(600 + random() % 1400));
    killed.push_back(time(nullptr));
    porch.Kill();
  }
  porch.Start();
  ASSERT_TRUE(Eventually([&] { return porch.Frames() > 0 && porch.Logged("delivers") > 0; }));
  std::this_thread::sleep_for(seconds(2));
  porch.Stop();

  Do("storage check");
  const std::vector<Row> rows = porch.Rows();
  ASSERT_EQ(rows.size(), killed.size() + 1);
  killed.push_back(rows.back().stop);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(i);
    const Row& row = rows[i];
    ExpectWhole(row);
    EXPECT_GT(row.frames, 5);
    EXPECT_NEAR(static_cast<double>(row.stop), static_cast<double>(killed[i]), 1);
    EXPECT_THAT(ReadFile(porch.Folder() + "/@eaDir/" + row.path + "/ORVAWP:MOTION.log"),
                SizeIs(5 + row.frames));
    Do("camera tune " + porch.Id() + " --from " + std::to_string(row.id));
  }
}

}  // namespace
