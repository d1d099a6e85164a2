#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <map>

#include "e2e/appliance.h"

using watchpost::test::Appliance;
using watchpost::test::Eventually;
using watchpost::test::ProbeFrames;
using watchpost::test::Process;
using watchpost::test::ReadFile;
using watchpost::test::ReadFrames;
using watchpost::test::Result;
using watchpost::test::RunProgram;
using watchpost::test::Simulator;
using watchpost::test::TempDir;
namespace fs = std::filesystem;

namespace {

// Pictures whose lengths cover every padding.
void MakePictures(const TempDir& dir) {
  const Result made = RunProgram({"ffmpeg",
                                  "-v",
                                  "error",
                                  "-f",
                                  "lavfi",
                                  "-i",
                                  "testsrc=size=160x120:rate=25",
                                  "-frames:v",
                                  "40",
                                  dir / "%03d.jpg"});
  ASSERT_EQ(made.status, 0) << made.errors;
}

class Recording : public Appliance {};

TEST_F(Recording, KeepsEveryFrameOfEveryDialect) {
  const TempDir pictures;
  MakePictures(pictures);
  std::vector<std::string> sent;
  for (int i = 1; i <= 40; ++i) {
    char name[16];
    (void)std::snprintf(name, sizeof name, "%03d.jpg", i);
    sent.push_back(ReadFile(pictures / name));
  }
  struct Line {
    std::string name, id;
    std::unique_ptr<Simulator> camera;
    std::unique_ptr<Process> daemon;
  };
  std::vector<Line> lines;
  for (const std::string dialect :
       {"length-after-type", "length-before-type", "no-length", "hyphens", "line-feeds"}) {
    Line line{dialect, "", nullptr, nullptr};
    line.camera = std::make_unique<Simulator>(std::vector<std::string>{"--frames",
                                                                       pictures.Path(),
                                                                       "--fps",
                                                                       "40",
                                                                       "--dialect",
                                                                       dialect,
                                                                       "--user",
                                                                       "me",
                                                                       "--password",
                                                                       "s:e c"});
    std::string url = line.camera->Url();
    url.insert(7, "me:s:e%20c@");
    line.id = AddCamera(dialect, url);
    EXPECT_EQ(Ctl({"camera", "set", line.id, "--fps", "1"}).status, 0);
    line.daemon = StartDaemon(line.id);
    lines.push_back(std::move(line));
  }
  for (Line& line : lines) {
    EXPECT_TRUE(EventuallyFrames(line.id, 50)) << line.name << line.daemon->Errors();
    StopDaemon(*line.daemon, SIGTERM);
    const auto rows = Rows(line.id);
    ASSERT_EQ(rows.size(), 1U) << line.name << line.daemon->Errors();
    const std::string file = Folder(line.name) + "/" + rows[0]["path"].get<std::string>();
    const std::vector<std::string> frames = ReadFrames(file);
    ASSERT_EQ(static_cast<int>(frames.size()), rows[0]["frames"]) << line.name;
    for (std::size_t i = 0; i < frames.size(); ++i) {
      std::string expected = sent[i % sent.size()];
      expected.resize((expected.size() + 3) / 4 * 4);
      ASSERT_EQ(frames[i], expected) << line.name << " frame " << i;
    }
    EXPECT_EQ(ProbeFrames(file), rows[0]["frames"]) << line.name;
    EXPECT_EQ(static_cast<int>(fs::file_size(file)), rows[0]["bytes"]);
    EXPECT_EQ(fs::file_size(Folder(line.name) + "/@eaDir/" + rows[0]["path"].get<std::string>() +
                            "/ORVAWP:MOTION.log"),
              5 + frames.size());
    // The rate that was measured, far from the one frame a second that the camera's record expects.
    const Result rate = RunProgram({"ffprobe",
                                    "-v",
                                    "error",
                                    "-show_entries",
                                    "stream=avg_frame_rate",
                                    "-of",
                                    "csv=p=0",
                                    file});
    EXPECT_GE(std::atof(rate.output.c_str()), 5) << line.name << rate.output;
    EXPECT_LE(std::atof(rate.output.c_str()), 50) << line.name << rate.output;
  }
}

TEST_F(Recording, ReportsItsStatesAndDetachesWholly) {
  const Simulator camera({"--fps", "10"});
  const std::string id = AddCamera("Porch", camera.Url());
  const std::string status_of = "SELECT status FROM camerastatus WHERE cameraid = " + id;
  ASSERT_EQ(
      Psql("surveillance",
           "CREATE TABLE seen (n serial, status int); "
           "CREATE FUNCTION see() RETURNS trigger AS $$BEGIN INSERT INTO seen (status) VALUES "
           "(NEW.status); RETURN NEW; END$$ LANGUAGE plpgsql SECURITY DEFINER; "
           "CREATE TRIGGER see BEFORE INSERT ON camerastatus FOR EACH ROW EXECUTE FUNCTION see()"),
      "CREATE TABLECREATE FUNCTIONCREATE TRIGGER");
  const Result launched = RunProgram({Program("wpd"), "-c", id});
  ASSERT_EQ(launched.status, 0) << launched.errors;
  EXPECT_EQ(launched.output + launched.errors, "");
  EXPECT_EQ(Psql("surveillance", status_of), "2") << "by the time the launcher returns";
  const std::string pid = std::to_string(CtlJson({"camera", "show", id})["daemon_pid"].get<int>());
  EXPECT_EQ(Psql("surveillance", "SELECT pid FROM camerastatus"), pid);
  EXPECT_EQ(fs::read_symlink("/proc/" + pid + "/cwd"), "/");
  for (const char* fd : {"0", "1", "2"})
    EXPECT_EQ(fs::read_symlink("/proc/" + pid + "/fd/" + fd), "/dev/null");

  const Result second = RunProgram({Program("wpd"), "-c", id});
  EXPECT_EQ(second.status, 1);
  EXPECT_NE(second.errors.find("already running"), std::string::npos) << second.errors;
  EXPECT_EQ(watchpost::test::Count(second.errors, "\n"), 1);
  const Result removed = Ctl({"camera", "remove", id, "--yes"});
  EXPECT_EQ(removed.status, 1) << "a camera that is being recorded stays";

  ASSERT_EQ(kill(std::stoi(pid), SIGINT), 0);
  EXPECT_TRUE(Eventually([&] { return kill(std::stoi(pid), 0) != 0; }, std::chrono::seconds(5)));
  EXPECT_EQ(Psql("surveillance", "SELECT string_agg(status::text, '' ORDER BY n) FROM seen"),
            "1234");
}

TEST_F(Recording, SaysInALineWhyItCannotStart) {
  const Result missing = RunProgram({Program("wpd"), "-c", "7"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.errors.find("there is no camera 7"), std::string::npos);
  EXPECT_EQ(RunProgram({Program("wpd"), "-c", "x"}).status, 2);
  KillDatabase();
  const Result dead = RunProgram({Program("wpd"), "-c", "7"});
  EXPECT_EQ(dead.status, 1);
  EXPECT_NE(dead.errors.find("does not answer"), std::string::npos) << dead.errors;
  EXPECT_EQ(watchpost::test::Count(dead.errors, "\n"), 1);
}

TEST_F(Recording, TakesOverChangedSettings) {
  const Simulator first({"--fps", "20"});
  const Simulator second({"--fps", "20", "--size", "320x240"});
  const std::string id = AddCamera("Porch", first.Url());
  auto daemon = StartDaemon(id);
  EXPECT_TRUE(EventuallyFrames(id, 10));
  EXPECT_EQ(Ctl({"camera", "set", id, "--url", second.Url(), "--prefix", "new '$("}).status, 0);
  EXPECT_TRUE(Eventually([&] { return Rows(id).size() == 2 && Frames(id) > 30; }))
      << daemon->Errors();
  EXPECT_EQ(Ctl({"schedule", "set", id, "all none"}).status, 0);
  const auto settled = [&] {
    const auto row = Rows(id)[1];
    return static_cast<int>(
               ReadFrames(Folder("Porch") + "/" + row["path"].get<std::string>()).size()) ==
           row["frames"];
  };
  EXPECT_TRUE(Eventually(settled)) << "an hour without recording ends the file";
  EXPECT_EQ(Rows(id)[1]["width"], 320);
  EXPECT_TRUE(Rows(id)[1]["path"].get<std::string>().starts_with("new '$("));
  StopDaemon(*daemon, SIGINT);
}

class ShortRecording : public Appliance {
 protected:
  ShortRecording() : Appliance("cut_mebibytes=1\n") {}
};

TEST_F(ShortRecording, CutsFilesWithoutLosingAFrame) {
  const TempDir pictures;
  MakePictures(pictures);
  std::map<std::string, int> number_of;
  for (const auto& entry : fs::directory_iterator(pictures.Path())) {
    std::string bytes = ReadFile(entry.path());
    bytes.resize((bytes.size() + 3) / 4 * 4);
    number_of[bytes] = std::stoi(entry.path().stem()) - 1;
  }
  const Simulator camera({"--frames", pictures.Path(), "--fps", "200"});
  const std::string id = AddCamera("Porch", camera.Url());
  auto daemon = StartDaemon(id);
  EXPECT_TRUE(Eventually([&] { return Rows(id).size() >= 4; })) << daemon->Errors();
  StopDaemon(*daemon, SIGINT);
  int expected = 0;
  for (const auto& row : Rows(id)) {
    const std::string file = Folder("Porch") + "/" + row["path"].get<std::string>();
    EXPECT_LE(row["bytes"], (1 << 20) + 16 * row["frames"].get<int>() + 8);
    EXPECT_EQ(ProbeFrames(file), row["frames"]);
    for (const std::string& frame : ReadFrames(file)) {
      ASSERT_EQ(number_of.at(frame), expected) << file;
      expected = (expected + 1) % 40;
    }
  }
}

}  // namespace
