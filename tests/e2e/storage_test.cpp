#include "e2e/appliance.h"

namespace {

class Storage : public Appliance {
 protected:
  // So many recordings.
  std::vector<Row> Record(int count) {
    for (int i = 1; i <= count; ++i) {
      camera_.Start();
      camera_.ExpectFrames(40 * i);
      camera_.Stop();
    }
    std::vector<Row> rows = camera_.Rows();
    EXPECT_EQ(rows.size(), static_cast<std::size_t>(count));
    return rows;
  }

  RecordedCamera camera_{"--size 160x120 --fps 25", "it's $HOME"};
};

TEST_F(Storage, CheckFindsAndRepairsWhatDisagrees) {
  const std::vector<Row> rows = Record(4);
  Do("storage check");
  const std::string outside = root_ / "precious.avi";
  WriteFile(outside, "precious");
  fs::resize_file(rows[0].file, rows[0].bytes / 2);
  Psql("DELETE FROM event WHERE id = " + std::to_string(rows[1].id));
  Psql("UPDATE event SET framecount = 7 WHERE id = " + std::to_string(rows[2].id));
  fs::rename(rows[3].file, root_ / "moved.avi");
  Psql(
      "INSERT INTO event (camera_id, start_time, stop_time, framecount, cause, archived, path, "
      "filesize, video_width, video_height) "
      "VALUES (1, 5, 6, 1, 1, '0', '../../../precious.avi', 1, 8, 8)");

  EXPECT_THAT(Refused("storage check"),
              AllOf(HasSubstr("was never finished"),
                    HasSubstr("has no row"),
                    HasSubstr("its row says 7"),
                    HasSubstr("the file is not"),
                    HasSubstr("outside the camera's folder"),
                    HasSubstr("4 to repair")));
  Refused("storage check --repair");  // more than a tenth, and nobody to ask
  EXPECT_EQ(camera_.Rows().size(), 4U);
  EXPECT_THAT(Ctl("storage check --repair --yes").output, HasSubstr("4 repaired"));
  EXPECT_EQ(Count(Ctl("storage check").output, "\n  "), 1) << "only the row that is not touched";
  Refused("event delete 5");  // it names a file that is not its camera's
  EXPECT_EQ(ReadFile(outside), "precious");
  Psql("DELETE FROM event WHERE id = 5");
  Do("storage check");
  EXPECT_EQ(camera_.Rows().size(), 3U);
  for (const Row& row : camera_.Rows()) EXPECT_EQ(ProbeFrames(row.file), row.frames);

  fs::rename(camera_.Folder(), root_ / "unmounted");
  EXPECT_THAT(Ctl("storage check --repair --yes").output, HasSubstr("is its disk mounted"));
  EXPECT_EQ(camera_.Rows().size(), 3U) << "a folder that is away costs no row";
}

TEST_F(Storage, ExportsAndClears) {
  const std::vector<Row> rows = Record(2);
  const std::string clip = root_ / "clip.avi";
  const std::string first = std::to_string(rows[0].id) + " ";
  const std::string second = std::to_string(rows[1].id) + " ";
  Do("event export --verify " + second + first + "-o " + clip);
  EXPECT_EQ(ProbeFrames(clip), rows[0].frames + rows[1].frames);
  std::vector<std::string> expected = ReadFrames(rows[0].file);
  for (std::string& frame : ReadFrames(rows[1].file)) expected.push_back(std::move(frame));
  EXPECT_EQ(ReadFrames(clip), expected) << "in the order of time, whatever the arguments' is";
  Refused("event export " + first + "-o " + clip);  // it is there already
  // Another reader of such files than ffmpeg finds the same pictures.
  WriteFile(root_ / "frames/none", "");
  (void)OutputOf("gst-launch-1.0 -q filesrc location=" + clip + " ! avidemux ! multifilesink " +
                 "location=" + (root_ / "frames/1%05d"));
  for (std::size_t i = 0; i < expected.size(); ++i)
    ASSERT_EQ(ReadFile((root_ / "frames/") + std::to_string(100000 + i)), expected[i]) << i;
  Do("event export " + first + second + "--from @" + std::to_string(rows[1].start) + " -o " +
     (root_ / "part.avi"));
  EXPECT_GE(ProbeFrames(root_ / "part.avi"), rows[1].frames);
  Do("event frame --number 3 " + first + (root_ / "one.jpg"));
  EXPECT_EQ(ReadFile(root_ / "one.jpg"), expected[2]);

  WriteFile(Folder("Gone/a.avi"), "x");
  Refused("storage clean");  // nobody to ask
  EXPECT_TRUE(fs::exists(Folder("Gone")));
  Do("storage clean --yes");
  EXPECT_FALSE(fs::exists(Folder("Gone")));
  EXPECT_TRUE(fs::exists(rows[0].file));
  EXPECT_EQ(DoJson("storage usage")[0]["recordings"], 2);
  Do("event delete --camera " + camera_.Id() + " --from '1h ago' --yes");
  EXPECT_FALSE(fs::exists(rows[0].file));
  EXPECT_THAT(camera_.Rows(), IsEmpty());
}

}  // namespace
