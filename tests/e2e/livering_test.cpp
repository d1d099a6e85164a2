#include <sys/sem.h>
#include <sys/shm.h>

#include "e2e/appliance.h"
#include "ipc/ringbuffer.h"
#include "ipc/ringhost.h"
#include "media/jpegsize.h"

namespace {

class LiveRing : public Appliance {
 protected:
  LiveRing() : Appliance("ring_kibibytes=256\n") {}

  static bool EventuallyStatus(int status) {
    return Eventually([=] { return CameraConnectionStatus(1) == status; }, seconds(40));
  }
  static bool HasObjects() {
    return shmget(IPCKeyFromCameraId(1), 0, 0) >= 0 || semget(IPCKeyFromCameraId(1), 0, 0) >= 0;
  }
  static std::unique_ptr<Process> Watch(const std::string& options) {
    return std::make_unique<Process>(Program("wpctl camera watch 1 ") + options);
  }
};

TEST_F(LiveRing, ShowsTheStateOfTheConnectionAndGoesWithTheDaemon) {
  EXPECT_EQ(semget(IPC_PRIVATE, 1, 0700), 0);  // the id that is easily overlooked
  RecordedCamera porch("--size 160x120 --fps 20 --fault slow:1");
  porch.Start();
  EXPECT_TRUE(EventuallyStatus(CAM_CONN_WAITING));
  for (const auto& [fault, status] : {std::pair{"none", CAM_CONN_CONNECTED},
                                      {"404", CAM_CONN_LOST},
                                      {"none", CAM_CONN_CONNECTED}}) {
    porch.Fault(fault);
    EXPECT_TRUE(EventuallyStatus(status)) << fault;
  }
  porch.Stop();
  EXPECT_FALSE(HasObjects());
}

TEST_F(LiveRing, SnapshotsComeFromTheDaemonOrTheCamera) {
  RecordedCamera porch("--size 160x120 --fps 20");
  const auto snapshot = [&](const std::string& source) {
    const std::string path = root_ / "porch.jpg";
    EXPECT_THAT(Do("camera snapshot Porch " + path),
                AllOf(HasSubstr("160x120"), HasSubstr(source)));
    const std::string bytes = ReadFile(path);
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    EXPECT_TRUE(ReadJpegSize(data, bytes.size()));
  };
  snapshot("from the camera itself");
  EXPECT_THAT(Refused("camera watch 1"), HasSubstr("is not running"));
  porch.Start();
  ASSERT_TRUE(EventuallyStatus(CAM_CONN_CONNECTED));
  snapshot("from the running daemon");
  porch.Stop();
  porch.Fault("401");
  EXPECT_THAT(Refused("camera snapshot Porch -"), HasSubstr("refuses user name"));
}

TEST_F(LiveRing, WatchersThatAreKilledCostNothing) {
  constexpr int kFps = 25;
  RecordedCamera porch("--size 320x240 --fps " + std::to_string(kFps));
  porch.Start();
  ASSERT_TRUE(EventuallyStatus(CAM_CONN_CONNECTED));
  const auto survivor = Watch("--frames 400 --json");
  for (int round = 0; round < 3; ++round) {
    const auto one = Watch("--save " + (root_ / "saved"));
    const auto other = Watch("--save " + (root_ / "saved"));
    ASSERT_TRUE(Eventually([&] { return !one->Output().empty() && !other->Output().empty(); }));
  }
  EXPECT_GT(std::distance(fs::directory_iterator(root_ / "saved"), {}), kFps);
  // A reader that keeps a frame for good costs a fresh ring, which the survivor finds.
  auto* pinned = RingBufferGet(1);
  ASSERT_NE(pinned, nullptr);
  ASSERT_NE(pinned->ReadLatest(), nullptr);
  porch.ExpectLog("another ring");
  EXPECT_EQ(survivor->Wait(), 0) << survivor->Errors();
  const auto report = nlohmann::json::parse(survivor->Output(), nullptr, false);
  EXPECT_EQ(report["frames"], 400) << survivor->Output();
  EXPECT_GE(report["rings"], 2);
  EXPECT_EQ(RingBufferRelease(pinned), 0);

  // A killed daemon leaves all behind; the next one clears it, and watchers find its ring.
  const auto waiting = Watch("--frames 1000000");
  ASSERT_TRUE(Eventually([&] { return !waiting->Output().empty(); }));
  porch.Kill();
  EXPECT_TRUE(HasObjects());
  porch.Start();
  ASSERT_TRUE(EventuallyStatus(CAM_CONN_CONNECTED));
  porch.ExpectFrames(20 * kFps);
  EXPECT_EQ(waiting->End(SIGINT), 0);
  porch.Stop(SIGINT);
  EXPECT_FALSE(HasObjects());

  // No frame is missing from what was recorded in one go.
  const std::vector<Row> rows = porch.Rows();
  ASSERT_EQ(rows.size(), 2U);
  ExpectWhole(rows[1]);
  EXPECT_NEAR(rows[1].frames, static_cast<double>(kFps * (rows[1].stop - rows[1].start)), 2 * kFps);
}

TEST_F(LiveRing, AReaderThatHoldsTheCountersStopsNeitherRecordingNorTheEnd) {
  RecordedCamera porch("--size 320x240 --fps 50");
  porch.Start();
  ASSERT_TRUE(EventuallyStatus(CAM_CONN_CONNECTED));
  constexpr int kGroups = 256 * 1024 / 4096;
  const auto value = [](int set, int at) { return semctl(set, at, GETVAL); };
  const auto take = [](int set, int at) {
    sembuf one{static_cast<unsigned short>(at), -1, IPC_NOWAIT};
    return semop(set, &one, 1) == 0;
  };
  RingBuffer* ring = RingBufferGet(1);  // for whom every frame is published
  porch.ExpectFrames(2 * kGroups);
  // Of a frame that is being written: its writer is in the middle and wants them to get out.
  int set = semget(IPCKeyFromCameraId(1), 0, 0);
  bool taken = false;
  for (int at = 0; !taken && value(set, 0) >= 0; at = (at + 4) % (4 * kGroups))
    taken = value(set, at + RWLock::WRITE) == 0 && take(set, at + RWLock::COUNTERS);
  EXPECT_TRUE(taken);
  (void)RingBufferRelease(ring);
  porch.ExpectFrames(porch.Frames() + 100);
  // Of all that are free.
  set = semget(IPCKeyFromCameraId(1), 0, 0);
  for (int at = 0; at < 4 * kGroups; at += 4) (void)take(set, at + RWLock::COUNTERS);
  porch.ExpectFrames(porch.Frames() + 100);
  porch.ExpectLog("another ring");
  porch.Stop(SIGINT);
}

TEST_F(LiveRing, WithoutTheKernelsLeaveRecordingGoesOn) {
  RecordedCamera porch("--size 160x120 --fps 20");
  std::string error;
  const auto squatter = RingHost::Create(1, 65536, error);  // lives, and keeps the key
  ASSERT_NE(squatter, nullptr) << error;
  porch.Start();
  porch.ExpectFrames(10);
  porch.ExpectLog("no live pictures, recording goes on");
  porch.Stop();
  EXPECT_EQ(CameraConnectionStatus(1), CAM_CONN_WAITING) << "the other's ring is untouched";
}

}  // namespace
