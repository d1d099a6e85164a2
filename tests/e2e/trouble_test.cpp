#include <sys/resource.h>

#include "e2e/appliance.h"
#include "support/fakecamera.h"

namespace {

class Trouble : public Appliance {
 protected:
  Trouble() : Appliance("frame_timeout_seconds=2\ncut_mebibytes=1\n") {}

  // Waits for files beyond those that are there.
  static void ExpectMoreFiles(const RecordedCamera& camera) {
    const auto files = [&] { return std::distance(fs::directory_iterator(camera.Folder()), {}); };
    const auto before = files();
    EXPECT_TRUE(Eventually([&] { return files() >= before + 2; })) << camera.Log();
  }
};

TEST_F(Trouble, ADeadDatabaseCostsNoFrameAndNoRow) {
  RecordedCamera porch("--fps 40");
  const std::string journal = root_ / "var/lib/orva/wpd-1.rows";
  porch.Start();
  porch.ExpectFrames(20);
  KillDatabase();
  ExpectMoreFiles(porch);
  StartDatabase();
  porch.ExpectLog("answers again");
  const int frames = porch.Frames();
  KillDatabase();
  ExpectMoreFiles(porch);
  EXPECT_EQ(porch.Logged("does not answer"), 2) << "one line a spell: " << porch.Log();
  EXPECT_EQ(porch.Logged("Failed to"), 0) << porch.Log();
  porch.Stop();
  // What a daemon leaves that stopped without a database is written by the next.
  EXPECT_TRUE(fs::exists(journal));
  StartDatabase();
  porch.Fault("404");
  porch.Start();
  EXPECT_TRUE(Eventually([&] { return !fs::exists(journal); }));
  porch.Stop(SIGINT);
  EXPECT_GT(porch.Frames(), frames);
  porch.ExpectRowsAndFilesAgree();
}

TEST_F(Trouble, CamerasThatMisbehaveAreLoggedOnceAndRecordedAgain) {
  const std::vector<std::string> faults{
      "stall:5", "drop:5", "invalid", "slow:200", "401", "404", "500"};
  std::vector<RecordedCamera> cameras;
  for (const std::string& fault : faults) {
    cameras.emplace_back("--fps 20 --size 160x120", "c" + fault);
    cameras.back().Start();
  }
  for (const RecordedCamera& camera : cameras) camera.ExpectFrames(10);
  for (std::size_t i = 0; i < faults.size(); ++i) cameras[i].Fault(faults[i]);
  for (std::size_t i = 0; i < faults.size(); ++i) {
    cameras[i].ExpectLog("trying again");
    if (faults[i].size() == 3) cameras[i].ExpectLog("refuses");  // a status
  }
  std::vector<int> before;
  for (const RecordedCamera& camera : cameras) before.push_back(camera.Frames());
  for (const RecordedCamera& camera : cameras) camera.Fault("none");
  for (std::size_t i = 0; i < faults.size(); ++i) {
    SCOPED_TRACE(faults[i]);
    cameras[i].ExpectFrames(before[i] + 40);
    cameras[i].ExpectLog("trying again");
    EXPECT_LE(cameras[i].Logged("no JPEG"), 1);
    cameras[i].Stop(SIGINT);
    cameras[i].ExpectRowsAndFilesAgree();
  }
}

TEST_F(Trouble, AFullDiskIsOneLineAndRecordingResumes) {
  RecordedCamera porch("--fps 40");
  porch.Start();
  porch.ExpectFrames(10);
  rlimit whole{};
  const rlimit full{300000, RLIM_INFINITY};  // no file may grow beyond this
  ASSERT_EQ(prlimit(porch.Pid(), RLIMIT_FSIZE, &full, &whole), 0);
  porch.ExpectLog("not recording");
  ASSERT_EQ(prlimit(porch.Pid(), RLIMIT_FSIZE, &whole, nullptr), 0);
  porch.ExpectLog("recording again");
  porch.ExpectFrames(porch.Frames() + 40);
  porch.Stop(SIGINT);
  porch.ExpectLog("not recording");
  porch.ExpectRowsAndFilesAgree();
}

TEST_F(Trouble, AFileThatIsTakenAwayIsFollowedByAnother) {
  RecordedCamera porch("--fps 20 --size 160x120");
  porch.Start();
  porch.ExpectFrames(10);
  for (const Row& row : porch.Rows()) fs::remove(row.file);
  EXPECT_TRUE(Eventually([&] { return porch.Rows().size() == 2 && porch.Rows()[1].frames > 20; }))
      << porch.Log();
  porch.ExpectLog("has gone from its folder");
  porch.Stop(SIGINT);
  ExpectWhole(porch.Rows().at(1));
}

TEST_F(Trouble, ACameraThatComesAndGoesIsRecordedWhileItIsThere) {
  RecordedCamera porch("--fps 20 --size 160x120 --fault drop:20");
  porch.Start();
  std::this_thread::sleep_for(seconds(12));
  porch.Stop();
  EXPECT_GE(porch.Frames(), 12 * 20 / 2) << "a second each, and a moment in between";
}

TEST_F(Trouble, AStatusThatWasRefusedOnceComesBack) {
  ASSERT_EQ(Psql("ALTER TABLE camerastatus ADD CONSTRAINT never CHECK (false)"), "ALTER TABLE");
  RecordedCamera porch("--fps 20 --size 160x120");
  porch.Start();
  porch.ExpectFrames(10);
  ASSERT_EQ(Psql("ALTER TABLE camerastatus DROP CONSTRAINT never"), "ALTER TABLE");
  EXPECT_TRUE(Eventually([] { return Psql("SELECT status FROM camerastatus") == "2"; }))
      << porch.Log();
  porch.Stop();
  EXPECT_EQ(Psql("SELECT status FROM camerastatus"), "4");
}

TEST_F(Trouble, CamerasInOneFolderKeepTheirOwnRecordings) {
  RecordedCamera porch("--fps 20 --size 160x120", "Porch");
  RecordedCamera yard("--fps 20 --size 320x240", "Yard");
  Psql("UPDATE camera SET recording_path = " + Quoted(porch.Folder()) + " WHERE id = " + yard.Id());
  porch.Start();
  yard.Start();
  EXPECT_TRUE(Eventually([&] { return porch.Frames() > 20 && yard.Frames() > 20; }));
  porch.Kill();
  yard.Kill();
  for (RecordedCamera* camera : {&yard, &porch}) {
    camera->Start();
    camera->ExpectLog("was not finished");
    camera->ExpectFrames(40);
    camera->Stop();
  }
  for (const auto& [camera, width] : {std::pair{&porch, 160}, {&yard, 320}}) {
    ASSERT_THAT(camera->Rows(), SizeIs(2)) << camera->Log();
    for (const Row& row : camera->Rows()) EXPECT_EQ(row.width, width);
  }
}

TEST_F(Trouble, PartsThatAreNoPicturesCostNeitherLinesNorProcessorTime) {
  const std::string head =
      "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=b\r\n\r\n--b\r\n";
  const std::string type = "Content-Type: image/jpeg\r\nContent-Length: ";
  std::string empty = head;
  for (int i = 0; i < 200000; ++i) empty += type + "0\r\n\r\n\r\n--b\r\n";
  for (const std::string& reply :
       {head + type + "99999999\r\n\r\n", head + type + "0\r\n\r\n", empty}) {
    FakeCamera sender({reply});
    const std::string port = std::to_string(sender.Port());
    RecordedCamera camera = RecordedCamera::At("http://127.0.0.1:" + port + "/s", "c" + port);
    camera.Start();
    camera.ExpectLog("trying again");
    std::this_thread::sleep_for(seconds(2));
    camera.Stop(SIGINT);
    sender.Finish();
    EXPECT_LE(sender.Requests().size(), 4U) << "the pauses grow";
    EXPECT_LE(camera.Logged("\n"), 5) << camera.Log();
  }
}

TEST_F(Trouble, StopsInTimeWhateverItWaitsFor) {
  const FullListener full;
  std::vector<RecordedCamera> cameras;
  cameras.push_back(
      RecordedCamera::At("http://127.0.0.1:" + std::to_string(full.Port()) + "/x", "hanging"));
  cameras.emplace_back("--fault stall:3", "stalled");
  cameras.emplace_back("--fault slow:100", "dripping");
  for (RecordedCamera& camera : cameras) {
    camera.Start();
    camera.Stop();
    EXPECT_EQ(Psql("SELECT status FROM camerastatus WHERE cameraid = " + camera.Id()), "4");
  }
}

}  // namespace
