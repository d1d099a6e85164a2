// All daemons together, through wpctl.
#include <list>

#include "e2e/appliance.h"

namespace {

class Service : public Appliance {
 protected:
  Service() {
    fs::create_directories(root_ / "usr/orva/sbin");
    fs::create_directories(root_ / "usr/orva/etc");
    fs::create_symlink(Program("wpd"), root_ / "usr/orva/sbin/wpd");
    fs::copy_file(WATCHPOST_SOURCE_DIR "/etc/cameras.conf", root_ / "usr/orva/etc/cameras.conf");
  }
  ~Service() override { (void)Ctl("service stop"); }

  // It ends with 1 while a camera is not well.
  static nlohmann::json Status() {
    return nlohmann::json::parse(Ctl("service status --json").output);
  }
  template <typename Condition>
  static bool All(Condition condition) {
    const nlohmann::json cameras = Status();
    return std::all_of(cameras.begin(), cameras.end(), condition);
  }
  static bool AllAre(const std::string& state) {
    return All([&](const auto& camera) { return camera["state"] == state; });
  }
};

TEST_F(Service, StartsWatchesRevivesAndStopsAllCameras) {
  constexpr int kCameras = 4;
  std::list<RecordedCamera> cameras;
  for (const char* name : {"Camera 1", "Camera 2", "Camera 3", "Camera 4"})
    cameras.emplace_back("--size 160x120 --fps 10", name);
  EXPECT_TRUE(AllAre("never started"));
  EXPECT_EQ(Count(Do("service start"), " started\n"), kCameras);
  EXPECT_TRUE(Eventually([] {
    return All([](const auto& camera) {
      return camera["state"] == "running" && camera.value("connection", "") == "connected" &&
             camera.value("fps", 0.0) >= 5 && !camera.value("file", "").empty();
    });
  })) << Status().dump(1);
  EXPECT_EQ(Count(Do("service start"), "runs already"), kCameras);

  // One dies, and its number goes to a stranger.
  ASSERT_EQ(kill(Status()[1]["daemon_pid"].get<int>(), SIGKILL), 0);
  EXPECT_TRUE(Eventually([] { return Status()[1]["state"] == "died"; }));
  const Process stranger("sleep 60");
  Psql("UPDATE camerastatus SET pid = " + std::to_string(stranger.Pid()) + " WHERE cameraid = 2");
  EXPECT_EQ(Do("service start --died"), "2 (Camera 2) started\n");
  EXPECT_EQ(kill(stranger.Pid(), 0), 0);
  EXPECT_TRUE(Eventually([] { return AllAre("running"); }));

  Do("service restart 'Camera 1' 3");
  Do("service stop");
  EXPECT_TRUE(AllAre("stopped"));
  EXPECT_THAT(OutputOf("ipcs -m -s"), Not(HasSubstr("0x1814")));
  Do("storage check");
  for (const RecordedCamera& camera : cameras) EXPECT_GT(camera.Frames(), 5);
  Refused("service start Nobody");
}

TEST_F(Service, HelpsWithCamerasWhoseAddressIsNotKnown) {
  const Simulator camera("--size 320x240 --fps 20");
  const std::string& url = camera.Url();
  const std::size_t colon = url.rfind(':') + 1;
  const std::string address =
      " --host 127.0.0.1 --port " + url.substr(colon, url.rfind('/') - colon);
  Do("camera add Found --probe" + address);
  EXPECT_EQ(DoJson("camera show Found")["path"], "video.mjpg");
  Do("camera add Made --vendor Watchpost --model camsim" + address);
  const auto report = DoJson("camera verify Made");
  EXPECT_EQ(report["width"], 320);
  EXPECT_NEAR(report["fps"].get<double>(), 20, 3);
  EXPECT_THAT(report["dialect"].get<std::string>(), StartsWith("type before length, boundary="));

  Do("camera ptz Made left");
  EXPECT_THAT(Ctl("camera ptz Found left").errors, HasSubstr("camera Found cannot move left"));
  Do("camera set Made --size 640x480");
  for (const auto& [fault, text] : {std::pair{"none", "320x240 where its record says 640x480"},
                                    {"401", "refuses user name and password"},
                                    {"404", "refuses the stream"},
                                    {"invalid", "that can be read"}}) {
    camera.Fault(fault);
    EXPECT_THAT(Refused("camera verify Made"), HasSubstr(text));
  }
  EXPECT_THAT(Ctl("doctor").output,
              AllOf(HasSubstr("the database answers"), HasSubstr("0 of 2 cameras have a daemon")));
}

}  // namespace
