// What a daemon that is killed leaves, and what its successor makes of it. WATCHPOST_CRASHES makes
// the run longer.

#include <signal.h>

#include <cstdlib>
#include <random>
#include <thread>

#include "e2e/appliance.h"

namespace watchpost::test {
namespace {

class Crash : public Appliance {};

TEST_F(Crash, CostsNoFrameThatWasWritten) {
  const char* text = std::getenv("WATCHPOST_CRASHES");
  const int crashes = text == nullptr ? 5 : std::atoi(text);
  const Simulator camera({"--size", "160x120", "--fps", "50"});
  const std::string id = AddCamera("Porch", camera.Url());
  std::mt19937 random(11);
  std::vector<long> killed;
  for (int i = 0; i < crashes; ++i) {
    const auto daemon = StartDaemon(id);
    std::this_thread::sleep_for(std::chrono::milliseconds(300 + random() % 1700));
    killed.push_back(time(nullptr));
    ASSERT_EQ(kill(daemon->Pid(), SIGKILL), 0);
    EXPECT_EQ(daemon->Wait(), 128 + SIGKILL);
  }
  const auto last = StartDaemon(id);
  ASSERT_TRUE(Eventually([&] { return Frames(id) > 0 && Count(last->Errors(), "delivers") > 0; }));
  std::this_thread::sleep_for(std::chrono::seconds(2));
  StopDaemon(*last, SIGTERM);

  EXPECT_EQ(Ctl({"storage", "check"}).status, 0);
  const auto rows = Rows(id);
  ASSERT_EQ(rows.size(), static_cast<std::size_t>(crashes) + 1);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(i);
    const auto& row = rows[i];
    const std::string file = Folder("Porch") + "/" + row["path"].get<std::string>();
    EXPECT_EQ(ProbeFrames(file), row["frames"]);
    EXPECT_EQ(ReadFile(file).size(), row["bytes"].get<std::size_t>());
    EXPECT_GT(row["frames"], 5);
    const long end = i < killed.size() ? killed[i] : row["stop"].get<long>();
    EXPECT_NEAR(row["stop"].get<double>(), static_cast<double>(end), 1);
    const std::string log = ReadFile(Folder("Porch") + "/@eaDir/" + row["path"].get<std::string>() +
                                     "/ORVAWP:MOTION.log");
    EXPECT_EQ(log.size(), 5 + row["frames"].get<std::size_t>());
    const auto tuned = Ctl({"camera", "tune", id, "--from", std::to_string(row["id"].get<int>())});
    EXPECT_EQ(tuned.status, 0) << tuned.errors;
  }
}

}  // namespace
}  // namespace watchpost::test
