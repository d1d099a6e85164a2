#include "event/wprotate.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <random>
#include <thread>

#include "base/uniquefd.h"
#include "event/event.h"
#include "event/removal.h"
#include "event/rotateclient.h"
#include "support/process.h"
#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

using watchpost::RotationCutoff;
using watchpost::test::Eventually;
using watchpost::test::ReadFile;
using watchpost::test::ScopedEnv;
using watchpost::test::SyslogCapture;
using watchpost::test::TempDir;
using watchpost::test::WriteFile;

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

class Rotate : public watchpost::test::TestDatabase {
 protected:
  void SetUp() override {
    TestDatabase::SetUp();
    for (int id = 1; id <= 3; ++id) {
      cameras_.emplace_back();
      cameras_.back().SetName("Camera " + std::to_string(id));
      cameras_.back().SetStoragePath(Folder(id));
      ASSERT_EQ(cameras_.back().Save(false), 0);
      std::filesystem::create_directories(Folder(id));
    }
  }

  [[nodiscard]] std::string Folder(int id) const { return root_ / "camera" + std::to_string(id); }
  [[nodiscard]] std::string PathOf(const Row& row) const {
    return Folder(row.camera) + "/" + row.path;
  }

  void Add(const std::vector<Row>& rows) {
    std::string sql;
    for (const Row& row : rows) {
      sql += (sql.empty()
                  ? "INSERT INTO event (camera_id, stop_time, path, filesize, archived) VALUES "
                  : ",") +
             std::string("(") + std::to_string(row.camera) + "," + std::to_string(row.stop) + ",'" +
             row.path + "'," + std::to_string(row.size) + "," + (row.archived ? "true" : "false") +
             ")";
      WriteFile(PathOf(row), "x");
    }
    ASSERT_EQ(WPDBExecute(sql), 0);
  }

  // Rows that are left, and whether files and rows agree.
  std::vector<int> Left(const std::vector<Row>& rows) {
    std::vector<int> ids;
    const watchpost::ResultPtr result = watchpost::Query("SELECT id FROM event ORDER BY id");
    for (watchpost::RowCursor row(result.get()); row.Next();) ids.push_back(row.Get().Int("id"));
    for (const Row& row : rows) {
      const bool has_row = std::binary_search(ids.begin(), ids.end(), row.id);
      EXPECT_EQ(std::filesystem::exists(PathOf(row)), has_row) << row.id;
    }
    return ids;
  }

  static void RunToItsEnd(WPRotate& rotate, int size, int days) {
    ASSERT_EQ(rotate.Start(size, days), WP_ROTATE_OK);
    ASSERT_TRUE(Eventually([&] { return !rotate.IsRotateStarted(); }));
  }

  TempDir root_;
  ScopedEnv env_{"ORVA_ROOT", root_.Path()};
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
  struct Case {
    const char* zone;
    long now;
    int days;
    long cutoff;
  };
  const Case cases[] = {
      {"UTC", 1795398054, 1, 1795305600},               // 2026-11-23 01:40:54 -> 11-22 00:00
      {"America/New_York", 1795398054, 1, 1795237200},  // 11-22 20:40 -> 11-21 00:00 -0500
      {"Europe/Berlin", 1774836000, 1, 1774738800},     // after the change of 2026-03-29: +0100
      {"Europe/Berlin", 1774836000, 0, 1774821600},     // the day after it begins at +0200
      {"Europe/Berlin", 1792994400, 1, 1792879200},     // 2026-10-26 -> the long day's midnight
      {"UTC", 1795398054, 49711, 0},                    // wraps to a few hours
      {"UTC", 1795398054, 24855, 0},                    // before the epoch
      {"UTC", 1795398054, -1, 0},
  };
  for (const Case& at_hand : cases) {
    const ScopedEnv zone("TZ", at_hand.zone);
    tzset();
    EXPECT_EQ(RotationCutoff(at_hand.now, at_hand.days), at_hand.cutoff)
        << at_hand.zone << " " << at_hand.days;
  }
  tzset();
}

// 20,000 recordings of three cameras against the rules, written down plainly.
TEST_F(Rotate, LeavesExactlyWhatTheRulesSay) {
  std::mt19937 random(5);
  const long now = time(nullptr);
  std::vector<Row> rows;
  for (int id = 1; id <= 20000; ++id) {
    const int camera = 1 + static_cast<int>(random() % 3);
    const long age = static_cast<long>(random() % (20 * kDay));
    rows.push_back({id,
                    camera,
                    now - age,
                    static_cast<int>(random() % 40000),
                    random() % 20 == 0,
                    std::to_string(id) + ".avi"});
  }
  Add(rows);
  constexpr int kSize = 60;
  constexpr int kDays = 7;
  // The newest recording of camera 2 is being written.
  const auto newest = std::max_element(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
    return std::pair(a.camera == 2 && !a.archived, a.stop) <
           std::pair(b.camera == 2 && !b.archived, b.stop);
  });
  const watchpost::UniqueFd fd(open(PathOf(*newest).c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(flock(fd.Get(), LOCK_EX), 0);

  std::vector<int> expected;
  for (int camera = 1; camera <= 3; ++camera) {
    std::vector<Row> own;
    double excess = 0;
    for (const Row& row : rows) {
      if (row.camera != camera) continue;
      own.push_back(row);
      excess += row.size;
    }
    std::sort(own.begin(), own.end(), [](const Row& a, const Row& b) { return a.stop < b.stop; });
    excess -= static_cast<double>(kSize) * kMiB;
    // Camera 1 rotates by size, camera 2 by days, camera 3 by both.
    long last = 0;
    if (camera != 2) {
      for (const Row& row : own) {
        if (excess <= 0 || row.archived) continue;
        excess -= row.size;
        last = row.stop;
      }
    }
    if (camera != 1) last = std::max(last, RotationCutoff(now, kDays));
    for (const Row& row : own) {
      if (row.archived || row.stop > last) expected.push_back(row.id);
    }
  }
  std::sort(expected.begin(), expected.end());

  watchpost::RotationPlan plan;
  ASSERT_TRUE(watchpost::PlanRotation(cameras_[2], kSize, kDays, now, plan));
  std::vector<int> planned;
  for (const auto& removal : plan.removals) planned.push_back(removal.event.GetID());
  for (int camera = 1; camera <= 3; ++camera) {
    WPRotate rotate(&cameras_[static_cast<std::size_t>(camera) - 1]);
    const int size = camera == 2 ? 0 : kSize;
    const int days = camera == 1 ? 0 : kDays;
    // Stops in the middle cost nothing but time: a batch is finished, and the rest goes later.
    ASSERT_EQ(rotate.Start(size, days), WP_ROTATE_OK);
    (void)rotate.Stop();
    RunToItsEnd(rotate, size, days);
    EXPECT_EQ(rotate.Stop(), WP_ROTATE_NOT_RUNNING);
  }
  const std::vector<int> left = Left(rows);
  EXPECT_EQ(left, expected);
  for (const int id : planned) EXPECT_FALSE(std::binary_search(left.begin(), left.end(), id)) << id;
  EXPECT_NE(ReadFile(root_ / "var/log/orva/event.log").find("Camera 3"), std::string::npos);
}

TEST_F(Rotate, SparesWhatIsArchivedOrBeingWritten) {
  const std::vector<Row> rows{{1, 1, 100, 5 * kMiB, true, "a.avi"},
                              {2, 1, 200, 5 * kMiB, false, "b.avi"},
                              {3, 2, 300, kMiB, false, "../escaped.avi"}};
  Add(rows);
  watchpost::UniqueFd fd(open((Folder(1) + "/b.avi").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(flock(fd.Get(), LOCK_EX), 0);
  WPRotate rotate(cameras_.data());
  RunToItsEnd(rotate, 1, 1);
  EXPECT_EQ(Left({rows[0], rows[1]}), (std::vector<int>{1, 2, 3}));
  fd.Reset();
  RunToItsEnd(rotate, 1, 0);
  EXPECT_EQ(Left({rows[0], rows[1]}), (std::vector<int>{1, 3})) << "the archived one is counted";
  WPRotate other(&cameras_[1]);
  RunToItsEnd(other, 0, 1);
  EXPECT_TRUE(std::filesystem::exists(root_ / "escaped.avi")) << "a row leads out of the folder";
  EXPECT_EQ(Ask("SELECT count(*) FROM event", "count"), "1");
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
  EXPECT_EQ(Ask("SELECT count(*) FROM event", "count"), "1") << "a total of 0 ends the run";
  {
    const Outage outage;
    RunToItsEnd(rotate, 0, 1);
  }
  EXPECT_TRUE(std::filesystem::exists(Folder(1) + "/a.avi"));
  RotateClient client;
  EXPECT_EQ(client.DoRotate(nullptr, 1, 1), WP_ROTATE_ERR_NOTHING);
  EXPECT_EQ(client.DoRotate(cameras_.data(), -1, 1), WP_ROTATE_ERR_NOTHING);
}

double ProcessorSeconds() {
  rusage usage{};
  (void)getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
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
  EXPECT_NE(log.Text().find("RemoveFileByDateWithUpperbound(): Failed to get camera folder"),
            std::string::npos);
  EXPECT_LE(log.Lines(), 4);
  EXPECT_LT(ProcessorSeconds() - before, 0.5);
  rotate.SetRotateStatus(true);
  EXPECT_EQ(rotate.RemoveFilesFromDBBySize(50), 0) << "ends, a MiB a pass";
  rotate.SetRotateStatus(false);
}

// A program with a clock of its own, which is set while it waits for the hour.
class RotateHours : public Rotate {
 protected:
  void SetUp() override {
    Rotate::SetUp();
    Refill();
  }

  // So much that each run has to remove one recording.
  void Refill() {
    ++stop_;
    Add({{0, 1, stop_, 2 * kMiB, false, std::to_string(stop_) + ".avi"}});
  }

  void StartAt(const std::string& clock) {
    SetClock(clock);
    const ScopedEnv preload("LD_PRELOAD", "/usr/$LIB/faketime/libfaketimeMT.so.1");
    const ScopedEnv fresh("FAKETIME_NO_CACHE", "1");
    const ScopedEnv file("FAKETIME_TIMESTAMP_FILE", root_ / "clock");
    const ScopedEnv sanitizer("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0");
    const ScopedEnv zone("TZ", "UTC");
    program_.emplace(std::vector<std::string>{WATCHPOST_ROTATECLOCK});
  }
  void SetClock(const std::string& clock) { WriteFile(root_ / "clock", "@2026-11-23 " + clock); }

  bool HasWokenEarly() {
    return Eventually([this] {
      return program_->Errors().find("IsCorrectMoment(): Wake up early!") != std::string::npos;
    });
  }

  [[nodiscard]] std::string EventLog() const { return ReadFile(root_ / "var/log/orva/event.log"); }
  [[nodiscard]] long Runs() const {
    const std::string log = EventLog();
    return std::count(log.begin(), log.end(), '\n');
  }

  long stop_ = 1000;
  std::optional<watchpost::test::Process> program_;
};

TEST_F(RotateHours, RunsOnceOnTheFullHour) {
  StartAt("10:59:57");
  ASSERT_TRUE(Eventually([this] { return Runs() == 1; })) << program_->Errors();
  EXPECT_NE(EventLog().find("2026-11-23T11:00:0"), std::string::npos) << EventLog();
  Refill();
  SetClock("11:20:00");
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(Runs(), 1) << "within the same hour";
  ASSERT_EQ(kill(program_->Pid(), SIGTERM), 0);
  EXPECT_EQ(program_->Wait(), 0);
}

TEST_F(RotateHours, FollowsAClockThatIsSetBack) {
  StartAt("10:59:57");
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  SetClock("10:59:55");  // 3 s after the start it shows 10:59:57 and a half
  ASSERT_TRUE(HasWokenEarly());
  EXPECT_EQ(Runs(), 0);
  ASSERT_TRUE(Eventually([this] { return Runs() == 1; })) << program_->Errors();
  EXPECT_NE(EventLog().find("2026-11-23T11:00:0"), std::string::npos) << EventLog();
}

TEST_F(RotateHours, DoesNotRunBetweenHoursAfterAJumpForward) {
  StartAt("10:59:58");
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  SetClock("12:30:00");
  ASSERT_TRUE(HasWokenEarly());
  EXPECT_EQ(Runs(), 0);
}

}  // namespace
