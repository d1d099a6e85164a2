#include <signal.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <filesystem>

#include "e2e/appliance.h"
#include "ipc/ringbuffer.h"
#include "ipc/ringhost.h"
#include "media/jpegsize.h"

namespace watchpost::test {
namespace {

class LiveRing : public Appliance {
 protected:
  LiveRing() : Appliance("ring_kibibytes=256\n") {}

  static bool EventuallyStatus(int status) {
    return Eventually([=] { return CameraConnectionStatus(1) == status; },
                      std::chrono::seconds(40));
  }
  static bool HasObjects() {
    return shmget(IPCKeyFromCameraId(1), 0, 0) >= 0 || semget(IPCKeyFromCameraId(1), 0, 0) >= 0;
  }
  static std::unique_ptr<Process> Watch(std::vector<std::string> options) {
    options.insert(options.begin(), {Program("wpctl"), "camera", "watch", "1"});
    return std::make_unique<Process>(options);
  }
};

TEST_F(LiveRing, ShowsTheStateOfTheConnectionAndGoesWithTheDaemon) {
  EXPECT_EQ(semget(IPC_PRIVATE, 1, 0700), 0);  // the id that is easily overlooked
  const Simulator camera({"--size", "160x120", "--fps", "20"});
  const std::string id = AddCamera("Porch", camera.Url());
  camera.Fault("slow:1");
  const auto daemon = StartDaemon(id);
  EXPECT_TRUE(EventuallyStatus(CAM_CONN_WAITING));
  camera.Fault("none");
  EXPECT_TRUE(EventuallyStatus(CAM_CONN_CONNECTED));
  camera.Fault("404");
  EXPECT_TRUE(EventuallyStatus(CAM_CONN_LOST));
  camera.Fault("none");
  EXPECT_TRUE(EventuallyStatus(CAM_CONN_CONNECTED));
  StopDaemon(*daemon, SIGTERM);
  EXPECT_FALSE(HasObjects());
}

TEST_F(LiveRing, SnapshotsComeFromTheDaemonOrTheCamera) {
  const Simulator camera({"--size", "160x120", "--fps", "20"});
  const std::string id = AddCamera("Porch", camera.Url());
  const auto snapshot = [&](const std::string& source) {
    const std::string path = root_ / "porch.jpg";
    const Result result = Ctl({"camera", "snapshot", "Porch", path});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_NE(result.output.find("160x120"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(source), std::string::npos) << result.output;
    const std::string bytes = ReadFile(path);
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    EXPECT_TRUE(ReadJpegSize(data, bytes.size()));
  };
  snapshot("from the camera itself");
  EXPECT_NE(Ctl({"camera", "watch", "1"}).errors.find("is not running"), std::string::npos);
  const auto daemon = StartDaemon(id);
  ASSERT_TRUE(EventuallyStatus(CAM_CONN_CONNECTED));
  snapshot("from the running daemon");
  StopDaemon(*daemon, SIGTERM);
  camera.Fault("401");
  const Result refused = Ctl({"camera", "snapshot", "Porch", "-"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.errors.find("refuses user name"), std::string::npos) << refused.errors;
}

TEST_F(LiveRing, WatchersThatAreKilledCostNothing) {
  constexpr int kFps = 25;
  const Simulator camera({"--size", "320x240", "--fps", std::to_string(kFps)});
  const std::string id = AddCamera("Porch", camera.Url());
  auto daemon = StartDaemon(id);
  ASSERT_TRUE(EventuallyStatus(CAM_CONN_CONNECTED));
  auto survivor = Watch({"--frames", "400", "--json"});
  for (int round = 0; round < 3; ++round) {
    std::vector<std::unique_ptr<Process>> watchers;
    for (int i = 0; i < 2; ++i) watchers.push_back(Watch({"--save", root_ / "saved"}));
    ASSERT_TRUE(Eventually(
        [&] { return !watchers[0]->Output().empty() && !watchers[1]->Output().empty(); }));
    for (const auto& watcher : watchers) ASSERT_EQ(kill(watcher->Pid(), SIGKILL), 0);
  }
  const auto begin = std::filesystem::directory_iterator(root_ / "saved");
  EXPECT_GT(std::distance(begin, std::filesystem::directory_iterator()), kFps);
  // A reader that keeps a frame for good costs a fresh ring, which the survivor finds.
  auto* pinned = RingBufferGet(1);
  ASSERT_NE(pinned, nullptr);
  ASSERT_NE(pinned->ReadLatest(), nullptr);
  ASSERT_TRUE(Eventually([&] { return Count(daemon->Errors(), "another ring") == 1; }));
  EXPECT_EQ(survivor->Wait(), 0) << survivor->Errors();
  const auto report = nlohmann::json::parse(survivor->Output(), nullptr, false);
  EXPECT_EQ(report["frames"], 400) << survivor->Output();
  EXPECT_GE(report["rings"], 2);
  EXPECT_EQ(RingBufferRelease(pinned), 0);

  // A killed daemon leaves all behind; the next one clears it, and watchers find its ring.
  auto waiting = Watch({"--frames", "1000000"});
  ASSERT_TRUE(Eventually([&] { return !waiting->Output().empty(); }));
  ASSERT_EQ(kill(daemon->Pid(), SIGKILL), 0);
  EXPECT_EQ(daemon->Wait(), 128 + SIGKILL);
  EXPECT_TRUE(HasObjects());
  daemon = StartDaemon(id);
  ASSERT_TRUE(EventuallyStatus(CAM_CONN_CONNECTED));
  ASSERT_TRUE(EventuallyFrames(id, 20 * kFps));
  ASSERT_EQ(kill(waiting->Pid(), SIGINT), 0);
  EXPECT_EQ(waiting->Wait(), 0);
  StopDaemon(*daemon, SIGINT);
  EXPECT_FALSE(HasObjects());

  // No frame is missing from what was recorded in one go.
  const auto rows = Rows(id);
  ASSERT_EQ(rows.size(), 2U);
  const std::string folder = Folder("Porch");
  const std::string last = folder + "/" + rows[1]["path"].get<std::string>();
  EXPECT_EQ(ProbeFrames(last), rows[1]["frames"]);
  EXPECT_NEAR(rows[1]["frames"].get<double>() / kFps,
              rows[1]["stop"].get<double>() - rows[1]["start"].get<double>(),
              2);
}

TEST_F(LiveRing, WithoutTheKernelsLeaveRecordingGoesOn) {
  const Simulator camera({"--size", "160x120", "--fps", "20"});
  const std::string id = AddCamera("Porch", camera.Url());
  std::string error;
  const auto squatter = RingHost::Create(1, 65536, error);  // lives, and keeps the key
  ASSERT_NE(squatter, nullptr) << error;
  const auto daemon = StartDaemon(id);
  EXPECT_TRUE(EventuallyFrames(id, 10));
  EXPECT_EQ(Count(daemon->Errors(), "no live pictures, recording goes on"), 1) << daemon->Errors();
  StopDaemon(*daemon, SIGTERM);
  EXPECT_EQ(CameraConnectionStatus(1), CAM_CONN_WAITING) << "the other's ring is untouched";
}

}  // namespace
}  // namespace watchpost::test
