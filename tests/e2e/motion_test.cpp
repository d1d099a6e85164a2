#include "e2e/appliance.h"
#include "media/jpegsize.h"
#include "support/jpegs.h"

namespace {

constexpr int kFps = 10;
constexpr int kBefore = 2;
constexpr int kAfter = 2;

struct Truth {
  int number, moves;
};

// What the simulated camera wrote into the comment of each frame.
std::vector<Truth> TruthOf(const std::string& file) {
  std::vector<Truth> truth;
  for (const std::string& frame : ReadFrames(file)) {
    Truth& one = truth.emplace_back();
    const std::size_t at = std::min(frame.find("frame "), frame.size());
    EXPECT_EQ(std::sscanf(frame.c_str() + at, "frame %d motion %d", &one.number, &one.moves), 2);
  }
  return truth;
}

class Motion : public Appliance {
 protected:
  Motion() : Appliance("motion_before_seconds=2\nmotion_after_seconds=2\n") {}
};

TEST_F(Motion, RecordsCrossingsWithTheSecondsAroundThemAndNothingElse) {
  RecordedCamera porch("--scene person --size 320x240 --fps " + std::to_string(kFps));
  Do("schedule set Porch 'all motion'");
  Do("camera set Porch --sensitivity 97");
  porch.Start();
  EXPECT_THAT(Do("camera tune Porch --seconds 2"), HasSubstr("motion from 3 on"));
  const auto finished = [&porch] {
    const std::vector<Row> rows = porch.Rows();
    const long end = time(nullptr) - kAfter - 1;
    return std::count_if(rows.begin(), rows.end(), [&](const Row& r) { return r.stop < end; });
  };
  ASSERT_TRUE(Eventually([&] { return finished() == 2; }, seconds(40)));

  // What moves outside the regions does not count; the daemon takes them over as it runs.
  Do("region add Porch sky 0,0,319,60");
  EXPECT_EQ(DoJson("region list Porch")[0]["bottom"], 60);
  std::this_thread::sleep_for(seconds(kAfter + 2));  // a crossing that has begun by now
  const std::size_t before_sky = porch.Rows().size();
  std::this_thread::sleep_for(seconds(11));  // another one
  porch.Stop();

  const std::vector<Row> rows = porch.Rows();
  ASSERT_EQ(rows.size(), before_sky);
  ASSERT_GE(rows.size(), 2U);
  for (const Row& row : {rows[0], rows[1]}) {
    EXPECT_EQ(row.cause, "motion");
    ExpectWhole(row);
    const std::vector<Truth> truth = TruthOf(row.file);
    ASSERT_THAT(truth, SizeIs(row.frames));
    const auto moves = [](Truth t) { return t.moves != 0; };
    const auto before = std::find_if(truth.begin(), truth.end(), moves) - truth.begin();
    const auto moving = std::count_if(truth.begin(), truth.end(), moves);
    EXPECT_EQ(moving, 3 * kFps) << "the whole crossing";
    EXPECT_NEAR(static_cast<double>(before), kBefore * kFps, 3);
    EXPECT_NEAR(static_cast<double>(row.frames - before - moving), kAfter * kFps, 3);
    EXPECT_EQ(truth.back().number - truth.front().number + 1, row.frames);
    const auto tuned = DoJson("camera tune Porch --from " + std::to_string(row.id));
    const auto at = [&tuned](int sensitivity) {
      for (const auto& line : tuned) {
        if (line["sensitivity"] == sensitivity) return line;
      }
      return nlohmann::json();
    };
    EXPECT_NEAR(at(97)["motion_frames"].get<double>(), 3 * kFps, 4);
    EXPECT_EQ(at(97)["recordings"], 1);
    EXPECT_LT(at(50)["motion_frames"], at(97)["motion_frames"]);
  }
}

TEST_F(Motion, TroubleIsNoMotion) {
  RecordedCamera porch("--scene noise --fps 20 --size 160x120");
  Do("schedule set Porch 'all motion'");
  Do("camera set Porch --sensitivity 90");
  porch.Start();
  for (const char* fault : {"drop:15", "invalid", "none"}) {
    porch.Fault(fault);
    std::this_thread::sleep_for(milliseconds(1500));
  }
  EXPECT_TRUE(Eventually([] { return Ctl("camera watch Porch --frames 5").status == 0; }));
  EXPECT_THAT(porch.Rows(), IsEmpty());
  porch.Fault("broken:1");
  EXPECT_TRUE(Eventually([&] { return porch.Rows().size() == 1; })) << porch.Log();
  EXPECT_THAT(porch.Log(), HasSubstr("damaged frames"));
  porch.Stop();
}

TEST_F(Motion, FramesOfAnotherSizeFromBeforeItGoIntoAFileOfTheirOwn) {
  const TempDir pictures;
  for (int i = 0; i < 60; ++i) {  // stills, and then something that moves in wider ones
    const bool wide = i >= 30;
    const Jpeg jpeg = MakeJpeg({wide ? 320 : 160, 120}, wide ? static_cast<unsigned>(i) : 0);
    WriteFile(pictures / (std::to_string(100 + i) + ".jpg"), {jpeg.begin(), jpeg.end()});
  }
  RecordedCamera porch("--fps 20 --frames " + pictures.Path());
  Do("schedule set Porch 'all motion'");
  porch.Start();
  EXPECT_TRUE(Eventually([&] { return porch.Frames() > 60; })) << porch.Log();
  porch.Stop();
  for (const Row& row : porch.Rows()) {
    ExpectWhole(row);
    for (const std::string& frame : ReadFrames(row.file)) {
      const auto* data = reinterpret_cast<const unsigned char*>(frame.data());
      EXPECT_EQ(ReadJpegSize(data, frame.size())->width, row.width) << row.path;
    }
  }
}

TEST_F(Motion, RegionsThatCannotBeReadStayAsTheyAre) {
  RecordedCamera porch("--fps 20 --size 320x240");  // a block that moves, not everywhere
  Do("schedule set Porch 'all motion'");
  Do("camera set Porch --sensitivity 90");
  Do("region add Porch corner 0,0,15,15");
  porch.Start();
  Psql("ALTER TABLE motion RENAME TO away");
  Do("camera set Porch --sensitivity 91");
  Refused("region add Porch other 16,16,31,31");
  std::this_thread::sleep_for(seconds(1));
  EXPECT_THAT(porch.Rows(), IsEmpty()) << "the corner is still all that is watched";
  Psql("ALTER TABLE away RENAME TO motion");
  EXPECT_EQ(DoJson("region list Porch").size(), 1U);
  EXPECT_EQ(Psql("SELECT count(*) FROM motion"), "1");
  porch.Stop();
}

TEST_F(Motion, WhatLiesBeyondWhatIsWatchedIsSaid) {
  RecordedCamera porch("--size 2400x160 --fps 10");
  porch.Start();
  porch.ExpectLog("larger than 2048 pixels");
  EXPECT_THAT(Ctl("doctor").output, HasSubstr("larger than 2048 pixels"));
  const Result tuned = Ctl("camera tune Porch --seconds 1");
  EXPECT_THAT(tuned.output + tuned.errors, HasSubstr("larger than 2048 pixels"));
  porch.Stop();
}

}  // namespace
