#include <signal.h>

#include <cstdio>
#include <filesystem>

#include "e2e/appliance.h"

namespace watchpost::test {
namespace {

class Storage : public Appliance {
 protected:
  void Record(int count) {
    const Simulator camera({"--size", "160x120", "--fps", "25"});
    id_ = AddCamera("it's $HOME", camera.Url());
    for (int i = 1; i <= count; ++i) {
      const auto daemon = StartDaemon(id_);
      ASSERT_TRUE(EventuallyFrames(id_, 40 * i));
      StopDaemon(*daemon, SIGTERM);
    }
  }
  std::string File(const nlohmann::json& row) {
    return Folder("it's $HOME") + "/" + row["path"].get<std::string>();
  }
  static std::string Sql(const std::string& sql) { return Psql("surveillance", sql); }

  std::string id_;
};

TEST_F(Storage, CheckFindsAndRepairsWhatDisagrees) {
  Record(4);
  EXPECT_EQ(Ctl({"storage", "check"}).status, 0);
  const auto rows = Rows(id_);
  const std::string outside = root_ / "precious.avi";
  WriteFile(outside, "precious");
  std::filesystem::resize_file(File(rows[0]), std::filesystem::file_size(File(rows[0])) / 2);
  Sql("DELETE FROM event WHERE id = " + std::to_string(rows[1]["id"].get<int>()));
  Sql("UPDATE event SET framecount = 7 WHERE id = " + std::to_string(rows[2]["id"].get<int>()));
  std::filesystem::rename(File(rows[3]), root_ / "moved.avi");
  Sql("INSERT INTO event (camera_id, start_time, stop_time, framecount, cause, archived, path, "
      "filesize, "
      "video_width, video_height) VALUES (1, 5, 6, 1, 1, '0', '../../../precious.avi', 1, 8, 8)");

  const Result found = Ctl({"storage", "check"});
  EXPECT_EQ(found.status, 1);
  for (const char* text : {"was never finished",
                           "has no row",
                           "its row says 7",
                           "the file is not",
                           "outside the camera's folder",
                           "4 to repair"}) {
    EXPECT_NE(found.output.find(text), std::string::npos) << text << "\n" << found.output;
  }
  EXPECT_EQ(Ctl({"storage", "check", "--repair"}).status, 1)
      << "more than a tenth, and nobody to ask";
  EXPECT_EQ(Rows(id_).size(), 4U);
  const Result repaired = Ctl({"storage", "check", "--repair", "--yes"});
  EXPECT_NE(repaired.output.find("4 repaired"), std::string::npos) << repaired.output << repaired.errors;
  EXPECT_EQ(Count(Ctl({"storage", "check"}).output, "\n  "), 1)
      << "only the row that is not touched";
  EXPECT_EQ(Ctl({"event", "delete", "5"}).status, 1) << "it names a file that is not its camera's";
  EXPECT_EQ(ReadFile(outside), "precious");
  Sql("DELETE FROM event WHERE id = 5");
  EXPECT_EQ(Ctl({"storage", "check"}).status, 0);
  const auto now = Rows(id_);
  ASSERT_EQ(now.size(), 3U);
  for (const auto& row : now) EXPECT_EQ(ProbeFrames(File(row)), row["frames"]);

  std::filesystem::rename(Folder("it's $HOME"), root_ / "unmounted");
  EXPECT_NE(Ctl({"storage", "check", "--repair", "--yes"}).output.find("is its disk mounted"),
            std::string::npos);
  EXPECT_EQ(Rows(id_).size(), 3U) << "a folder that is away costs no row";
}

TEST_F(Storage, ExportsAndClears) {
  Record(2);
  const std::string clip = root_ / "clip.avi";
  const auto rows = Rows(id_);
  const std::string first = std::to_string(rows[0]["id"].get<int>());
  const std::string second = std::to_string(rows[1]["id"].get<int>());
  const Result exported = Ctl({"event", "export", second, first, "-o", clip, "--verify"});
  ASSERT_EQ(exported.status, 0) << exported.errors;
  EXPECT_EQ(ProbeFrames(clip), rows[0]["frames"].get<int>() + rows[1]["frames"].get<int>());
  std::vector<std::string> expected = ReadFrames(File(rows[0]));
  for (std::string& frame : ReadFrames(File(rows[1]))) expected.push_back(std::move(frame));
  EXPECT_EQ(ReadFrames(clip), expected) << "in the order of time, whatever the arguments' is";
  EXPECT_EQ(Ctl({"event", "export", first, "-o", clip}).status, 1) << "it is there already";
  // Another reader of such files than ffmpeg finds the same pictures.
  WriteFile(root_ / "frames/none", "");
  EXPECT_EQ(RunProgram({"gst-launch-1.0",
                        "-q",
                        "filesrc",
                        "location=" + clip,
                        "!",
                        "avidemux",
                        "!",
                        "multifilesink",
                        "location=" + (root_ / "frames/%05d")})
                .status,
            0);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    char number[32];
    (void)std::snprintf(number, sizeof number, "%05zu", i);
    ASSERT_EQ(ReadFile((root_ / "frames/") + number), expected[i]) << i;
  }
  const std::string from = "@" + std::to_string(rows[1]["start"].get<long>());
  EXPECT_EQ(
      Ctl({"event", "export", first, second, "--from", from, "-o", root_ / "part.avi"}).status, 0);
  EXPECT_GE(ProbeFrames(root_ / "part.avi"), rows[1]["frames"].get<int>());
  EXPECT_EQ(Ctl({"event", "frame", first, root_ / "one.jpg", "--number", "3"}).status, 0);
  EXPECT_EQ(ReadFile(root_ / "one.jpg"), expected[2]);

  WriteFile(root_ / "volume1/surveillance/Gone/a.avi", "x");
  EXPECT_EQ(Ctl({"storage", "clean"}).status, 1) << "nobody to ask";
  EXPECT_TRUE(std::filesystem::exists(root_ / "volume1/surveillance/Gone"));
  EXPECT_EQ(Ctl({"storage", "clean", "--yes"}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(root_ / "volume1/surveillance/Gone"));
  EXPECT_TRUE(std::filesystem::exists(File(rows[0])));
  EXPECT_EQ(CtlJson({"storage", "usage"})[0]["recordings"], 2);
  EXPECT_EQ(Ctl({"event", "delete", "--camera", id_, "--from", "1h ago", "--yes"}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(File(rows[0])));
  EXPECT_EQ(Rows(id_).size(), 0U);
}

}  // namespace
}  // namespace watchpost::test
