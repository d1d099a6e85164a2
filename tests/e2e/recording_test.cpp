#include <list>

#include "e2e/appliance.h"
#include "e2e/shiftedclock.h"

namespace {

// Pictures whose lengths cover every padding, as files and as they are recorded.
class Pictures {
 public:
  Pictures() {
    (void)OutputOf("ffmpeg -v error -f lavfi -i testsrc=size=160x120:rate=25 -frames:v 40 " +
                   (dir_ / "1%02d.jpg"));
    for (int i = 1; i <= 40; ++i) {
      std::string& bytes =
          padded_.emplace_back(ReadFile(dir_ / (std::to_string(100 + i) + ".jpg")));
      bytes.resize((bytes.size() + 3) / 4 * 4);
    }
  }
  [[nodiscard]] const std::string& Path() const { return dir_.Path(); }

  // Whether these are the pictures in turn, from picture number `next` on, which is then moved.
  void ExpectInTurn(const std::vector<std::string>& frames, std::size_t& next) const {
    for (const std::string& frame : frames) ASSERT_EQ(frame, padded_[next++ % padded_.size()]);
  }

 private:
  TempDir dir_;
  std::vector<std::string> padded_;
};

class Recording : public Appliance {};

TEST_F(Recording, KeepsEveryFrameOfEveryDialect) {
  const Pictures pictures;
  std::list<Simulator> simulators;
  std::vector<RecordedCamera> cameras;
  for (const std::string dialect :
       {"length-after-type", "length-before-type", "no-length", "hyphens", "line-feeds"}) {
    std::string url = simulators
                          .emplace_back("--fps 40 --user me --password 's:e c' --dialect " +
                                        dialect + " --frames " + pictures.Path())
                          .Url();
    cameras.push_back(RecordedCamera::At(url.insert(7, "me:s:e%20c@"), dialect));
    Do("camera set " + dialect + " --fps 1");
    cameras.back().Start();
  }
  for (RecordedCamera& camera : cameras) {
    SCOPED_TRACE(camera.Folder());
    camera.ExpectFrames(50);
    camera.Stop();
    const std::vector<Row> rows = camera.Rows();
    ASSERT_EQ(rows.size(), 1U) << camera.Log();
    const std::vector<std::string> frames = ReadFrames(rows[0].file);
    ASSERT_THAT(frames, SizeIs(rows[0].frames));
    std::size_t next = 0;
    pictures.ExpectInTurn(frames, next);
    ExpectWhole(rows[0]);
    EXPECT_EQ(fs::file_size(camera.Folder() + "/@eaDir/" + rows[0].path + "/ORVAWP:MOTION.log"),
              5 + frames.size());
    // The rate that was measured, far from the one frame a second that the camera's record expects.
    const std::string rate = OutputOf(
        "ffprobe -v error -show_entries stream=avg_frame_rate -of csv=p=0 " + rows[0].file);
    EXPECT_THAT(std::atof(rate.c_str()), AllOf(Ge(5), Le(50)));
  }
}

TEST_F(Recording, ReportsItsStatesAndDetachesWholly) {
  const RecordedCamera porch("--fps 10");
  ASSERT_EQ(
      Psql("CREATE TABLE seen (n serial, status int); "
           "CREATE FUNCTION see() RETURNS trigger AS $$BEGIN INSERT INTO seen (status) VALUES "
           "(NEW.status); RETURN NEW; END$$ LANGUAGE plpgsql SECURITY DEFINER; "
           "CREATE TRIGGER see BEFORE INSERT ON camerastatus FOR EACH ROW EXECUTE FUNCTION see()"),
      "CREATE TABLECREATE FUNCTIONCREATE TRIGGER");
  const std::string launch = Program("wpd -c ") + porch.Id();
  EXPECT_EQ(OutputOf(launch), "");
  EXPECT_EQ(Psql("SELECT status FROM camerastatus WHERE cameraid = " + porch.Id()), "2")
      << "by the time the launcher returns";
  const int pid = DoJson("camera show Porch")["daemon_pid"];
  const std::string process = "/proc/" + std::to_string(pid);
  EXPECT_EQ("/proc/" + Psql("SELECT pid FROM camerastatus"), process);
  EXPECT_EQ(fs::read_symlink(process + "/cwd"), "/");
  for (const char* fd : {"/fd/0", "/fd/1", "/fd/2"})
    EXPECT_EQ(fs::read_symlink(process + fd), "/dev/null");

  const Result second = RunProgram(launch);
  EXPECT_EQ(second.status, 1);
  EXPECT_THAT(second.errors, HasSubstr("already running"));
  EXPECT_EQ(Count(second.errors, "\n"), 1);
  Refused("camera remove Porch --yes");  // a camera that is being recorded stays

  ASSERT_EQ(kill(pid, SIGINT), 0);
  EXPECT_TRUE(Eventually([&] { return kill(pid, 0) != 0; }, seconds(5)));
  EXPECT_EQ(Psql("SELECT string_agg(status::text, '' ORDER BY n) FROM seen"), "1234");
}

TEST_F(Recording, SaysInALineWhyItCannotStart) {
  EXPECT_EQ(RunProgram(Program("wpd -c x")).status, 2);
  const auto expect_refusal = [](const char* reason) {
    const Result refused = RunProgram(Program("wpd -c 7"));
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr(reason));
    EXPECT_EQ(Count(refused.errors, "\n"), 1) << refused.errors;
  };
  expect_refusal("there is no camera 7");
  KillDatabase();
  expect_refusal("does not answer");
}

TEST_F(Recording, TakesOverChangedSettings) {
  const Simulator second("--fps 20 --size 320x240");
  RecordedCamera porch("--fps 20");
  porch.Start();
  porch.ExpectFrames(10);
  Do("camera set Porch --prefix 'new \\'$(' --url " + second.Url());
  EXPECT_TRUE(Eventually([&] { return porch.Rows().size() == 2 && porch.Frames() > 30; }))
      << porch.Log();
  Do("schedule set Porch 'all none'");
  const auto settled = [&] {
    const Row row = porch.Rows().at(1);
    return static_cast<int>(ReadFrames(row.file).size()) == row.frames;
  };
  EXPECT_TRUE(Eventually(settled)) << "an hour without recording ends the file";
  EXPECT_EQ(porch.Rows().at(1).width, 320);
  EXPECT_THAT(porch.Rows().at(1).path, StartsWith("new '$("));
  porch.Stop(SIGINT);
}

TEST_F(Recording, IsCutWhenTheClockStepsAndLastsByTheSteadyOne) {
  const ShiftedClock clock(root_ / "clock");
  RecordedCamera porch("--fps 20 --size 160x120");
  {
    const ShiftedClock::Scope scope(clock);
    porch.Start();
  }
  constexpr int kSpell = 3;
  for (const int offset : {0, 3600, 0, -10, -86400}) {
    clock.Set(offset);
    std::this_thread::sleep_for(seconds(kSpell));
  }
  porch.Stop();
  const std::vector<Row> rows = porch.Rows();
  ASSERT_THAT(rows, SizeIs(5)) << porch.Log();
  for (const Row& row : rows) {
    EXPECT_THAT(row.stop - row.start, AllOf(Ge(0), Le(kSpell + 1)));
    EXPECT_GT(row.frames, 20);
  }
  EXPECT_LT(rows[4].stop, rows[0].start);
  porch.ExpectRowsAndFilesAgree();
}

TEST_F(Recording, IsCutAtATenthOfItsCamerasLimit) {
  RecordedCamera porch("--fps 60");
  Do("camera set Porch --capacity 10");
  porch.Start();
  EXPECT_TRUE(Eventually([&] { return porch.Rows().size() >= 4; })) << porch.Log();
  porch.Stop();
  for (const Row& row : porch.Rows())
    EXPECT_LE(row.bytes, static_cast<std::size_t>((1 << 20) + 16 * row.frames + 300));
}

class ShortRecording : public Appliance {
 protected:
  ShortRecording() : Appliance("cut_mebibytes=1\n") {}
};

TEST_F(ShortRecording, CutsFilesWithoutLosingAFrame) {
  const Pictures pictures;
  RecordedCamera porch("--fps 200 --frames " + pictures.Path());
  porch.Start();
  EXPECT_TRUE(Eventually([&] { return porch.Rows().size() >= 4; })) << porch.Log();
  porch.Stop(SIGINT);
  std::size_t next = 0;
  for (const Row& row : porch.Rows()) {
    EXPECT_LE(row.bytes, (1U << 20) + 16U * static_cast<unsigned>(row.frames) + 8);
    ExpectWhole(row);
    pictures.ExpectInTurn(ReadFrames(row.file), next);
  }
}

}  // namespace
