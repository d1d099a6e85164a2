#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <filesystem>
#include <thread>

#include "e2e/appliance.h"
#include "base/uniquefd.h"
#include "support/fakecamera.h"

using watchpost::UniqueFd;
using watchpost::test::Appliance;
using watchpost::test::Count;
using watchpost::test::Eventually;
using watchpost::test::FakeCamera;
using watchpost::test::ProbeFrames;
using watchpost::test::Process;
using watchpost::test::ReadFile;
using watchpost::test::Simulator;
namespace fs = std::filesystem;

namespace {

class Trouble : public Appliance {
 protected:
  Trouble() : Appliance("frame_timeout_seconds=2\ncut_mebibytes=1\n") {}

  // Every recording on disk has a row that says what is in it, and the other way round.
  void ExpectRowsAndFilesAgree(const std::string& id, const std::string& name) {
    std::size_t files = 0;
    for (const auto& entry : fs::directory_iterator(Folder(name)))
      files += entry.path().extension() == ".avi" ? 1 : 0;
    const auto rows = Rows(id);
    EXPECT_EQ(rows.size(), files);
    for (const auto& row : rows) {
      const std::string file = Folder(name) + "/" + row["path"].get<std::string>();
      EXPECT_EQ(ProbeFrames(file), row["frames"]);
      EXPECT_EQ(static_cast<int>(fs::file_size(file)), row["bytes"]);
    }
  }

  std::size_t FilesOf(const std::string& name) const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(Folder(name)), {}));
  }
};

TEST_F(Trouble, ADeadDatabaseCostsNoFrameAndNoRow) {
  const Simulator camera({"--fps", "40"});
  const std::string id = AddCamera("Porch", camera.Url());
  auto daemon = StartDaemon(id);
  EXPECT_TRUE(EventuallyFrames(id, 20));
  KillDatabase();
  const std::size_t before = FilesOf("Porch");
  EXPECT_TRUE(Eventually([&] { return FilesOf("Porch") >= before + 2; }))
      << "recording goes on, file after file";
  StartDatabase();
  EXPECT_TRUE(Eventually([&] { return Count(daemon->Errors(), "answers again") == 1; }))
      << daemon->Errors();
  StopDaemon(*daemon, SIGINT);
  ExpectRowsAndFilesAgree(id, "Porch");
  EXPECT_EQ(Count(daemon->Errors(), "does not answer"), 1) << daemon->Errors();
  EXPECT_EQ(Count(daemon->Errors(), "Failed to"), 0) << "one line a spell: " << daemon->Errors();
  EXPECT_FALSE(fs::exists(root_ / "var/lib/orva/wpd-" + id + ".rows"));
}

TEST_F(Trouble, RowsOfADaemonThatStoppedWithoutDatabaseAreWrittenByTheNext) {
  const Simulator camera({"--fps", "40"});
  const std::string id = AddCamera("Porch", camera.Url());
  auto daemon = StartDaemon(id);
  EXPECT_TRUE(EventuallyFrames(id, 20));
  KillDatabase();
  const std::size_t before = FilesOf("Porch");
  EXPECT_TRUE(Eventually([&] { return FilesOf("Porch") >= before + 2; }));
  StopDaemon(*daemon, SIGTERM);
  EXPECT_TRUE(fs::exists(root_ / "var/lib/orva/wpd-" + id + ".rows"));
  StartDatabase();
  camera.Fault("404");
  daemon = StartDaemon(id);
  EXPECT_TRUE(Eventually([&] { return !fs::exists(root_ / "var/lib/orva/wpd-" + id + ".rows"); }));
  StopDaemon(*daemon, SIGTERM);
  ExpectRowsAndFilesAgree(id, "Porch");
}

TEST_F(Trouble, CamerasThatMisbehaveAreLoggedOnceAndRecordedAgain) {
  const char* faults[] = {"stall:5", "drop:5", "rubbish", "slow:200", "401", "404", "500"};
  struct Line {
    std::string fault, id;
    std::unique_ptr<Simulator> camera;
    std::unique_ptr<Process> daemon;
  };
  std::vector<Line> lines;
  for (const char* fault : faults) {
    Line line{
        fault,
        "",
        std::make_unique<Simulator>(std::vector<std::string>{"--fps", "20", "--size", "160x120"}),
        nullptr};
    line.id = AddCamera(std::string("c") + fault, line.camera->Url());
    line.daemon = StartDaemon(line.id);
    lines.push_back(std::move(line));
  }
  for (Line& line : lines) EXPECT_TRUE(EventuallyFrames(line.id, 10)) << line.fault;
  for (Line& line : lines) line.camera->Fault(line.fault);
  for (Line& line : lines) {
    const bool status = std::isdigit(static_cast<unsigned char>(line.fault[0])) != 0;
    EXPECT_TRUE(Eventually([&] { return Count(line.daemon->Errors(), "trying again") == 1; }))
        << line.fault << line.daemon->Errors();
    if (status) {
      EXPECT_TRUE(Eventually([&] { return Count(line.daemon->Errors(), "refuses") == 1; }))
          << line.daemon->Errors();
    }
  }
  std::vector<int> before;
  for (Line& line : lines) before.push_back(Frames(line.id));
  for (Line& line : lines) line.camera->Fault("none");
  for (std::size_t i = 0; i < lines.size(); ++i) {
    Line& line = lines[i];
    EXPECT_TRUE(EventuallyFrames(line.id, before[i] + 40)) << line.fault << line.daemon->Errors();
    EXPECT_EQ(Count(line.daemon->Errors(), "trying again"), 1)
        << line.fault << line.daemon->Errors();
    EXPECT_LE(Count(line.daemon->Errors(), "no JPEG"), 1) << line.fault;
    StopDaemon(*line.daemon, SIGINT);
    ExpectRowsAndFilesAgree(line.id, "c" + line.fault);
  }
}

TEST_F(Trouble, AFullDiskIsOneLineAndRecordingResumes) {
  const Simulator camera({"--fps", "40"});
  const std::string id = AddCamera("Porch", camera.Url());
  auto daemon = StartDaemon(id);
  EXPECT_TRUE(EventuallyFrames(id, 10));
  rlimit whole{};
  const rlimit full{300000, RLIM_INFINITY};  // no file may grow beyond this
  ASSERT_EQ(prlimit(daemon->Pid(), RLIMIT_FSIZE, &full, &whole), 0);
  EXPECT_TRUE(Eventually([&] { return Count(daemon->Errors(), "not recording") == 1; }))
      << daemon->Errors();
  ASSERT_EQ(prlimit(daemon->Pid(), RLIMIT_FSIZE, &whole, nullptr), 0);
  EXPECT_TRUE(Eventually([&] { return Count(daemon->Errors(), "recording again") == 1; }))
      << daemon->Errors();
  const int frames = Frames(id);
  EXPECT_TRUE(EventuallyFrames(id, frames + 40)) << daemon->Errors();
  StopDaemon(*daemon, SIGINT);
  EXPECT_EQ(Count(daemon->Errors(), "not recording"), 1) << daemon->Errors();
  ExpectRowsAndFilesAgree(id, "Porch");
}

TEST_F(Trouble, AFileThatIsTakenAwayIsFollowedByAnother) {
  const Simulator camera({"--fps", "20", "--size", "160x120"});
  const std::string id = AddCamera("Porch", camera.Url());
  auto daemon = StartDaemon(id);
  EXPECT_TRUE(EventuallyFrames(id, 10));
  fs::remove_all(Folder("Porch"));
  EXPECT_TRUE(Eventually([&] { return Rows(id).size() == 2 && Rows(id)[1]["frames"] > 20; }))
      << daemon->Errors();
  EXPECT_EQ(Count(daemon->Errors(), "has gone from its folder"), 1) << daemon->Errors();
  StopDaemon(*daemon, SIGINT);
  const auto row = Rows(id)[1];
  EXPECT_EQ(ProbeFrames(Folder("Porch") + "/" + row["path"].get<std::string>()), row["frames"]);
}

TEST_F(Trouble, PartsThatAreNoPicturesCostNeitherLinesNorProcessorTime) {
  const std::string head =
      "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=b\r\n\r\n--b\r\n";
  const std::string type = "Content-Type: image/jpeg\r\nContent-Length: ";
  std::string empty = head;
  for (int i = 0; i < 200000; ++i) empty += type + "0\r\n\r\n\r\n--b\r\n";
  for (const std::string& reply :
       {head + type + "99999999\r\n\r\n", head + type + "0\r\n\r\n", empty}) {
    FakeCamera camera({reply});
    const std::string id = AddCamera("c" + std::to_string(camera.Port()),
                                     "http://127.0.0.1:" + std::to_string(camera.Port()) + "/s");
    auto daemon = StartDaemon(id);
    EXPECT_TRUE(Eventually([&] { return Count(daemon->Errors(), "trying again") == 1; }))
        << daemon->Errors();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    StopDaemon(*daemon, SIGINT);
    camera.Finish();
    EXPECT_LE(camera.Requests().size(), 4U) << "the pauses grow";
    EXPECT_LE(Count(daemon->Errors(), "\n"), 5) << daemon->Errors();
  }
}

TEST_F(Trouble, StopsInTimeWhateverItWaitsFor) {
  // A listener whose queue is full: connecting to it gets no answer.
  const UniqueFd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  ASSERT_EQ(bind(listener.Get(), generic, size), 0);
  ASSERT_EQ(listen(listener.Get(), 0), 0);
  ASSERT_EQ(getsockname(listener.Get(), generic, &size), 0);
  std::vector<UniqueFd> waiting;
  for (int i = 0; i < 4; ++i) {
    waiting.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    (void)connect(waiting.back().Get(), generic, size);
  }
  const Simulator stalled({"--fault", "stall:3"});
  const Simulator dripping({"--fault", "slow:100"});
  const std::string ids[] = {
      AddCamera("hanging", "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/x"),
      AddCamera("stalled", stalled.Url()),
      AddCamera("dripping", dripping.Url()),
  };
  for (const std::string& id : ids) {
    auto daemon = StartDaemon(id);
    StopDaemon(*daemon, SIGTERM);
    EXPECT_EQ(Psql("surveillance", "SELECT status FROM camerastatus WHERE cameraid = " + id), "4");
  }
}

}  // namespace
