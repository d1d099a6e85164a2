#include "event/wprotate.h"

#include "event/event.h"
#include "event/removal.h"
#include "event/rotateclient.h"
#include "support/process.h"
#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

constexpr long kDay = 86400;
constexpr int kMiB = 1 << 20;

struct Row {
  int id;
  int camera;
  long stop;
  int size;
  bool archived;
  std::string path;
};

class Rotate : public TestDatabase {
 protected:
  void SetUp() override {
    TestDatabase::SetUp();
    for (int id = 1; id <= 3; ++id) {
      Camera& camera = cameras_.emplace_back();
      camera.SetName("Camera " + std::to_string(id));
      camera.SetStoragePath(Folder(id));
      ASSERT_EQ(camera.Save(false), 0);
      fs::create_directories(Folder(id));
    }
  }

  [[nodiscard]] std::string Folder(int id) const { return root_ / "camera" + std::to_string(id); }
  [[nodiscard]] std::string PathOf(const Row& row) const {
    return Folder(row.camera) + "/" + row.path;
  }

  void Add(const std::vector<Row>& rows) {
    std::ostringstream sql;
    sql << "INSERT INTO event (camera_id, stop_time, path, filesize, archived) VALUES ";
    const char* comma = "(";
    for (const Row& row : rows) {
      sql << comma << row.camera << "," << row.stop << ",'" << row.path << "'," << row.size
          << (row.archived ? ",true)" : ",false)");
      comma = ",(";
      WriteFile(PathOf(row), "x");
    }
    Run(sql.str());
  }

  // Rows that are left; their files must be, and no others.
  std::vector<int> Left(const std::vector<Row>& rows) {
    std::vector<int> ids;
    const ResultPtr result = Query("SELECT id FROM event ORDER BY id");
    for (RowCursor row(result.get()); row.Next();) ids.push_back(row.Get().Int("id"));
    for (const Row& row : rows) {
      const bool has_row = std::binary_search(ids.begin(), ids.end(), row.id);
      EXPECT_EQ(fs::exists(PathOf(row)), has_row) << row.id;
    }
    return ids;
  }

  static void RunToItsEnd(WPRotate& rotate, int size, int days) {
    ASSERT_EQ(rotate.Start(size, days), WP_ROTATE_OK);
    ASSERT_TRUE(Eventually([&] { return !rotate.IsRotateStarted(); }));
  }

  TestRoot root_;
  std::vector<Camera> cameras_;
};

TEST(RotateFilter, HasNoBlanksAroundItsOperators) {
  EXPECT_EQ(BuildRotateFilter(7, 0, 0, 0, 1), "");
  EXPECT_EQ(BuildRotateFilter(0, 7, 0, 0, -1), " WHERE camera_id=7");
  EXPECT_EQ(BuildRotateFilter(0, 7, 0, 99, 0),
            " WHERE camera_id=7 AND stop_time<=99 AND archived=false");
  EXPECT_EQ(BuildRotateFilter(5, 0, 3, 0, 1), " WHERE id<=5 AND start_time>=3 AND archived=true");
}

TEST(RotateFilter, DaysEndAtLocalMidnight) {
  const struct {
    const char* zone;
    long now;
    int days;
    long cutoff;
  } cases[] = {
      {"UTC", 1795398054, 1, 1795305600},               // 2026-11-23 01:40:54 -> 11-22 00:00
      {"America/New_York", 1795398054, 1, 1795237200},  // 11-22 20:40 -> 11-21 00:00 -0500
      {"Europe/Berlin", 1774836000, 1, 1774738800},     // after the change of 2026-03-29: +0100
      {"Europe/Berlin", 1774836000, 0, 1774821600},     // the day after it begins at +0200
      {"Europe/Berlin", 1792994400, 1, 1792879200},     // 2026-10-26 -> the long day's midnight
      {"UTC", 1795398054, 49711, 0},                    // wraps to a few hours
      {"UTC", 1795398054, 24855, 0},                    // before the epoch
      {"UTC", 1795398054, -1, 0},
  };
  for (const auto& c : cases) {
    const ScopedEnv zone("TZ", c.zone);
    EXPECT_EQ(RotationCutoff(c.now, c.days), c.cutoff) << c.zone << " " << c.days;
  }
}

// 20,000 recordings of three cameras against the rules, written down plainly: camera 1 rotates by
// size, camera 2 by days, camera 3 by both.
TEST_F(Rotate, LeavesExactlyWhatTheRulesSay) {
  constexpr int kSize = 60;
  constexpr int kDays = 7;
  std::mt19937 random(5);
  const long now = time(nullptr);
  std::vector<Row> rows;
  for (int id = 1; id <= 20000; ++id) {
    const int camera = 1 + static_cast<int>(random() % 3);
    const long stop = now - static_cast<long>(random() % (20 * kDay));
    const int size = static_cast<int>(random() % 40000);
    rows.push_back({id, camera, stop, size, random() % 20 == 0, std::to_string(id) + ".avi"});
  }
  Add(rows);
  // The newest recording of camera 2 is being written.
  const auto newest = std::max_element(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
    return std::pair(a.camera == 2 && !a.archived, a.stop) <
           std::pair(b.camera == 2 && !b.archived, b.stop);
  });
  const UniqueFd fd = LockFile(PathOf(*newest));

  std::vector<Row> ordered = rows;
  std::sort(
      ordered.begin(), ordered.end(), [](const Row& a, const Row& b) { return a.stop < b.stop; });
  std::vector<int> expected;
  for (int camera = 1; camera <= 3; ++camera) {
    double excess = -static_cast<double>(kSize) * kMiB;
    for (const Row& row : rows) excess += row.camera == camera ? row.size : 0;
    long last = camera == 1 ? 0 : RotationCutoff(now, kDays);
    for (const Row& row : ordered) {
      if (row.camera != camera || camera == 2 || excess <= 0 || row.archived) continue;
      excess -= row.size;
      last = std::max(last, row.stop);
    }
    for (const Row& row : ordered) {
      if (row.camera == camera && (row.archived || row.stop > last)) expected.push_back(row.id);
    }
  }
  std::sort(expected.begin(), expected.end());

  RotationPlan plan;
  ASSERT_TRUE(PlanRotation(cameras_[2], kSize, kDays, now, plan));
  for (std::size_t i = 0; i < 3; ++i) {
    WPRotate rotate(&cameras_[i]);
    const int size = i == 1 ? 0 : kSize;
    const int days = i == 0 ? 0 : kDays;
    // Stops in the middle cost nothing but time: a batch is finished, and the rest goes later.
    ASSERT_EQ(rotate.Start(size, days), WP_ROTATE_OK);
    (void)rotate.Stop();
    RunToItsEnd(rotate, size, days);
    EXPECT_EQ(rotate.Stop(), WP_ROTATE_NOT_RUNNING);
  }
  const std::vector<int> left = Left(rows);
  EXPECT_EQ(left, expected);
  for (const auto& removal : plan.removals)
    EXPECT_FALSE(std::binary_search(left.begin(), left.end(), removal.event.GetID()));
  EXPECT_THAT(root_.EventLog(), HasSubstr("Camera 3"));
}

TEST_F(Rotate, SparesWhatIsArchivedOrBeingWritten) {
  const std::vector<Row> rows{{1, 1, 100, 5 * kMiB, true, "a.avi"},
                              {2, 1, 200, 5 * kMiB, false, "b.avi"}};
  Add(rows);
  Add({{3, 2, 300, kMiB, false, "../escaped.avi"}});
  UniqueFd fd = LockFile(PathOf(rows[1]));
  WPRotate rotate(cameras_.data());
  RunToItsEnd(rotate, 1, 1);
  EXPECT_THAT(Left(rows), ElementsAre(1, 2, 3));
  fd.Reset();
  RunToItsEnd(rotate, 1, 0);
  EXPECT_THAT(Left(rows), ElementsAre(1, 3)) << "the archived one is counted";
  WPRotate other(&cameras_[1]);
  RunToItsEnd(other, 0, 1);
  EXPECT_TRUE(fs::exists(root_ / "escaped.avi")) << "a row leads out of the folder";
  EXPECT_EQ(Rows("event"), 1);
  int count = -1;
  EXPECT_EQ(rotate.RemoveFileBySizeWithUpperbound(0, 10, count), 0);
  EXPECT_EQ(rotate.RemoveFileByDateWithUpperbound(0, 10, count), 0);
  EXPECT_EQ(count, -1);
  EXPECT_EQ(rotate.RemoveFilesFromDBBySize(0), -1);
  EXPECT_EQ(rotate.RemoveFilesFromDBByDate(0), -1);
}

TEST_F(Rotate, NeedsACameraALimitAndADatabase) {
  WPRotate none(nullptr);
  EXPECT_EQ(none.Start(1, 1), WP_ROTATE_ERR_NOTHING);
  EXPECT_EQ(none.Stop(), WP_ROTATE_NOT_RUNNING);
  WPRotate rotate(cameras_.data());
  EXPECT_EQ(rotate.Start(0, -1), WP_ROTATE_ERR_NOTHING);
  Add({{1, 1, 100, 0, false, "a.avi"}});
  RunToItsEnd(rotate, 1, 1);
  EXPECT_EQ(Rows("event"), 1) << "a total of 0 ends the run";
  {
    const Outage outage;
    RunToItsEnd(rotate, 0, 1);
  }
  EXPECT_TRUE(fs::exists(Folder(1) + "/a.avi"));
  RotateClient client;
  EXPECT_EQ(client.DoRotate(nullptr, 1, 1), WP_ROTATE_ERR_NOTHING);
  EXPECT_EQ(client.DoRotate(cameras_.data(), -1, 1), WP_ROTATE_ERR_NOTHING);
}

double ProcessorSeconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

TEST_F(Rotate, WaitsIdlyForAFolderUntilItIsStopped) {
  Camera homeless = cameras_[0];
  homeless.SetStoragePath("");
  const SyslogCapture log;
  WPRotate rotate(&homeless);
  const double before = ProcessorSeconds();
  ASSERT_EQ(rotate.Start(0, 1), WP_ROTATE_OK);
  EXPECT_EQ(rotate.Start(0, 1), WP_ROTATE_ERR_RUNNING);
  ASSERT_TRUE(Eventually([&] { return log.Lines() >= 2; }));
  EXPECT_EQ(rotate.Stop(), WP_ROTATE_OK);
  log.Expect("RemoveFileByDateWithUpperbound(): Failed to get camera folder");
  EXPECT_LE(log.Lines(), 4);
  EXPECT_LT(ProcessorSeconds() - before, 0.5);
  rotate.SetRotateStatus(true);
  EXPECT_EQ(rotate.RemoveFilesFromDBBySize(50), 0) << "ends, a MiB a pass";
  rotate.SetRotateStatus(false);
}

// A program with a clock of its own, which is set while it waits for the hour.
class RotateHours : public Rotate {
 protected:
  // So much that each run has to remove one recording.
  void Refill() {
    ++stop_;
    Add({{0, 1, stop_, 2 * kMiB, false, std::to_string(stop_) + ".avi"}});
  }

  // Lets the program run for half a second if it is to be set to another time.
  void Start(const std::string& clock, const std::string& then = "") {
    Refill();
    SetClock(clock);
    const ScopedEnv preload("LD_PRELOAD", "/usr/$LIB/faketime/libfaketimeMT.so.1");
    const ScopedEnv fresh("FAKETIME_NO_CACHE", "1");
    const ScopedEnv file("FAKETIME_TIMESTAMP_FILE", root_ / "clock");
    const ScopedEnv sanitizer("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0");
    const ScopedEnv zone("TZ", "UTC");
    program_.emplace(WATCHPOST_ROTATECLOCK);
    if (then.empty()) return;
    std::this_thread::sleep_for(milliseconds(500));
    SetClock(then);
    const char* early = "IsCorrectMoment(): Wake up early!";
    ASSERT_TRUE(Eventually([&] { return program_->Errors().find(early) != std::string::npos; }));
  }
  void SetClock(const std::string& clock) { WriteFile(root_ / "clock", "@2026-11-23 " + clock); }

  [[nodiscard]] long Runs() const {
    const std::string log = root_.EventLog();
    return std::count(log.begin(), log.end(), '\n');
  }
  void ExpectRunAtEleven() {
    ASSERT_TRUE(Eventually([this] { return Runs() == 1; })) << program_->Errors();
    // By time(), which lags.
    EXPECT_THAT(root_.EventLog(), AnyOf(HasSubstr("T10:59:59"), HasSubstr("T11:00:0")));
  }

  long stop_ = 1000;
  std::optional<Process> program_;
};

TEST_F(RotateHours, RunsOnceOnTheFullHour) {
  Start("10:59:57");
  ExpectRunAtEleven();
  Refill();
  SetClock("11:20:00");
  std::this_thread::sleep_for(milliseconds(500));
  EXPECT_EQ(Runs(), 1) << "within the same hour";
  EXPECT_THAT(program_->Errors(), Not(HasSubstr("early")));
  EXPECT_EQ(program_->End(SIGTERM), 0);
}

TEST_F(RotateHours, FollowsAClockThatIsSetBack) {
  Start("10:59:57", "10:59:55");  // 3 s after the start it shows 10:59:57 and a half
  EXPECT_EQ(Runs(), 0);
  ExpectRunAtEleven();
}

TEST_F(RotateHours, DoesNotRunBetweenHoursAfterAJumpForward) {
  Start("10:59:58", "12:30:00");
  EXPECT_EQ(Runs(), 0);
}

}  // namespace
