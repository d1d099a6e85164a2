// All daemons together, through wpctl.
#include <signal.h>

#include <filesystem>

#include "e2e/appliance.h"

namespace watchpost::test {
namespace {

class Service : public Appliance {
 protected:
  Service() {
    std::filesystem::create_directories(root_ / "usr/orva/sbin");
    std::filesystem::create_directories(root_ / "usr/orva/etc");
    std::filesystem::create_symlink(Program("wpd"), root_ / "usr/orva/sbin/wpd");
    std::filesystem::copy_file(WATCHPOST_SOURCE_DIR "/etc/cameras.conf",
                               root_ / "usr/orva/etc/cameras.conf");
  }
  ~Service() override { (void)Ctl({"service", "stop"}); }

  static nlohmann::json Status() { return CtlJson({"service", "status"}); }
  static bool All(const std::string& key, const nlohmann::json& value) {
    for (const auto& camera : Status()) {
      if (camera.value(key, nlohmann::json()) != value) return false;
    }
    return true;
  }
};

TEST_F(Service, StartsWatchesRevivesAndStopsAllCameras) {
  constexpr int kCameras = 4;
  std::list<Simulator> cameras;
  for (int i = 1; i <= kCameras; ++i) {
    cameras.emplace_back(std::vector<std::string>{"--size", "160x120", "--fps", "10"});
    AddCamera("Camera " + std::to_string(i), cameras.back().Url());
  }
  EXPECT_TRUE(All("state", "never started"));
  const Result started = Ctl({"service", "start"});
  ASSERT_EQ(started.status, 0) << started.errors;
  EXPECT_EQ(Count(started.output, " started\n"), kCameras);
  EXPECT_TRUE(Eventually([] { return All("state", "running") && All("connection", "connected"); }));
  EXPECT_TRUE(Eventually([] {
    for (const auto& camera : Status()) {
      if (camera.value("frames_per_second", 0.0) < 5 || camera.value("file", "").empty())
        return false;
    }
    return true;
  })) << Status().dump(1);
  EXPECT_EQ(Count(Ctl({"service", "start"}).output, "runs already"), kCameras);

  // One dies, and its number goes to a stranger.
  const int killed = Status()[1]["pid"].get<int>();
  ASSERT_EQ(kill(killed, SIGKILL), 0);
  EXPECT_TRUE(Eventually([] { return Status()[1]["state"] == "died"; }));
  const Process stranger({"sleep", "60"});
  Psql("surveillance",
       "UPDATE camerastatus SET pid = " + std::to_string(stranger.Pid()) + " WHERE cameraid = 2");
  const Result revived = Ctl({"service", "start", "--died"});
  EXPECT_EQ(revived.output, "2 (Camera 2) started\n") << revived.errors;
  EXPECT_EQ(kill(stranger.Pid(), 0), 0);
  EXPECT_TRUE(Eventually([] { return All("state", "running"); }));

  EXPECT_EQ(Ctl({"service", "restart", "Camera 1", "3"}).status, 0);
  ASSERT_EQ(Ctl({"service", "stop"}).status, 0);
  EXPECT_TRUE(All("state", "stopped"));
  EXPECT_EQ(RunProgram({"ipcs", "-m", "-s"}).output.find("0x1814"), std::string::npos);
  EXPECT_EQ(Ctl({"storage", "check"}).status, 0);
  for (int id = 1; id <= kCameras; ++id) EXPECT_GT(Frames(std::to_string(id)), 5);
  EXPECT_EQ(Ctl({"service", "start", "Nobody"}).status, 1);
}

TEST_F(Service, HelpsWithCamerasWhoseAddressIsNotKnown) {
  const Simulator camera({"--size", "320x240", "--fps", "20"});
  const std::string port = camera.Url().substr(
      camera.Url().rfind(':') + 1, camera.Url().rfind('/') - camera.Url().rfind(':') - 1);
  const Result probed =
      Ctl({"camera", "add", "Found", "--host", "127.0.0.1", "--port", port, "--probe"});
  EXPECT_EQ(probed.status, 0) << probed.errors;
  EXPECT_EQ(CtlJson({"camera", "show", "Found"})["path"], "video.mjpg");
  ASSERT_EQ(Ctl({"camera",
                 "add",
                 "Made",
                 "--host",
                 "127.0.0.1",
                 "--port",
                 port,
                 "--vendor",
                 "Watchpost",
                 "--model",
                 "camsim"})
                .status,
            0);
  const auto report = CtlJson({"camera", "verify", "Made"});
  EXPECT_EQ(report["width"], 320);
  EXPECT_NEAR(report["frames_per_second"].get<double>(), 20, 3);
  EXPECT_EQ(report["dialect"].get<std::string>().find("type before length, boundary="), 0U)
      << report.dump();

  EXPECT_EQ(Ctl({"camera", "ptz", "Made", "left"}).status, 0);
  EXPECT_NE(
      Ctl({"camera", "ptz", "Found", "left"}).errors.find("make of camera Found is not known"),
      std::string::npos);
  ASSERT_EQ(Ctl({"camera", "set", "Made", "--size", "640x480"}).status, 0);
  struct Case {
    const char* fault;
    const char* text;
  };
  const Case cases[] = {{"none", "320x240 where its record says 640x480"},
                        {"401", "refuses user name and password"},
                        {"404", "refuses the stream"},
                        {"rubbish", "that can be read"}};
  for (const Case& at_hand : cases) {
    camera.Fault(at_hand.fault);
    const Result verified = Ctl({"camera", "verify", "Made"});
    EXPECT_EQ(verified.status, 1);
    EXPECT_NE(verified.errors.find(at_hand.text), std::string::npos) << verified.errors;
  }
  const Result examined = Ctl({"doctor"});
  EXPECT_NE(examined.output.find("the database answers"), std::string::npos) << examined.output;
  EXPECT_NE(examined.output.find("0 of 2 cameras have a daemon"), std::string::npos)
      << examined.output;
}

}  // namespace
}  // namespace watchpost::test
