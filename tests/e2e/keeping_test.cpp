// A service that is left alone: the disk never fills, and people are told.
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/statvfs.h>

#include <filesystem>
#include <set>

#include "e2e/appliance.h"
#include "support/jpegs.h"
#include "support/mailserver.h"

namespace watchpost::test {
namespace {

class Told : public Appliance {
 protected:
  Told() : Appliance("mail_steady_seconds=2\n") {
    std::filesystem::create_directories(root_ / "lib");
    std::filesystem::create_symlink(WATCHPOST_SMTP_LIBRARY, root_ / "lib/liborvasmtp.so");
  }

  // The subjects of the mails taken so far, less their common beginning.
  std::vector<std::string> Subjects(std::size_t count) {
    std::vector<std::string> subjects;
    for (const auto& mail : server_.Mails(count))
      subjects.push_back(mail["subject"].get<std::string>().substr(11));
    return subjects;
  }

  MailServer server_;
};

TEST_F(Told, OnceOfEachThingThatMatters) {
  EXPECT_NE(Ctl({"mail", "test"}).errors.find("switched off"), std::string::npos);
  ASSERT_EQ(Ctl({"mail",
                 "set",
                 "--server",
                 "127.0.0.1",
                 "--port",
                 server_.Port(),
                 "--to",
                 "a@x.org",
                 "--user",
                 "u@x.org",
                 "--password",
                 "hidden"})
                .status,
            0);
  EXPECT_EQ(Ctl({"mail", "show"}).output.find("hidden"), std::string::npos);
  EXPECT_NE(Ctl({"mail", "test"}).errors.find("mail: the mail was not taken"), 0U);
  ASSERT_EQ(Ctl({"mail", "set", "--user", ""}).status, 0);
  const Result test = Ctl({"mail", "test"});
  EXPECT_EQ(test.status, 0) << test.errors;
  EXPECT_EQ(Subjects(1).back(), "test mail");

  const Simulator camera({"--size", "160x120", "--fps", "25"});
  const std::string id = AddCamera("Porch", camera.Url());
  EXPECT_EQ(Subjects(2).back(), "camera Porch was added");
  ASSERT_EQ(Ctl({"schedule", "set", id, "all motion"}).status, 0);
  const auto daemon = StartDaemon(id);
  EXPECT_EQ(Subjects(3).back(), "motion at Porch");
  const auto mail = server_.Mails(3).back();
  EXPECT_NE(mail["body"].get<std::string>().find(Folder("Porch") + "/"), std::string::npos);

  camera.Fault("drop:10");
  EXPECT_EQ(Subjects(4).back(), "connection to Porch lost");
  EXPECT_TRUE(Eventually([&] { return Rows(id).size() >= 3; })) << "it comes and goes";
  camera.Fault("none");
  const auto told = [&] {
    const auto subjects = Subjects(4);
    return std::count(subjects.begin(), subjects.end(), "connection to Porch resumed") == 1;
  };
  EXPECT_TRUE(Eventually(told));
  StopDaemon(*daemon, SIGTERM);
  ASSERT_EQ(Ctl({"camera", "remove", id, "--yes"}).status, 0);
  EXPECT_TRUE(Eventually([&] { return Subjects(4).back() == "camera Porch was removed"; }));
  const auto subjects = Subjects(4);
  for (const char* once : {"connection to Porch lost", "connection to Porch resumed"})
    EXPECT_EQ(std::count(subjects.begin(), subjects.end(), once), 1) << once;
}

// Its storage is a small disk of its own, which goes with the process.
class SmallDisk : public Appliance {
 protected:
  SmallDisk() : Appliance("cut_mebibytes=1\nmail_steady_seconds=1\n") {
    EXPECT_EQ(unshare(CLONE_NEWNS), 0);
    EXPECT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    const std::string volume = root_ / "volume1";
    std::filesystem::create_directories(volume);
    EXPECT_EQ(mount("watchpost-test", volume.c_str(), "tmpfs", 0, "size=16m"), 0);
    // Two sizes of picture in turn make a recording of each picture.
    for (int i = 0; i < 8; ++i) {
      const Jpeg jpeg = MakeJpeg({320 + i % 2 * 16, 240}, static_cast<unsigned>(i));
      WriteFile(pictures_ / (std::to_string(i) + ".jpg"), {jpeg.begin(), jpeg.end()});
    }
  }
  ~SmallDisk() override { EXPECT_EQ(umount2((root_ / "volume1").c_str(), MNT_DETACH), 0); }

  [[nodiscard]] double FreeShare() const {
    struct statvfs status {};
    EXPECT_EQ(statvfs((root_ / "volume1").c_str(), &status), 0);
    return static_cast<double>(status.f_bavail) / static_cast<double>(status.f_blocks);
  }

  TempDir pictures_;
};

TEST_F(SmallDisk, KeepsTheNewestAndNeverFills) {
  const Simulator camera({"--frames", pictures_.Path(), "--fps", "50"});
  const std::string id = AddCamera("Porch", camera.Url());
  ASSERT_EQ(Ctl({"camera", "set", id, "--capacity", "1000"}).status, 0);
  // A row that no rotation can remove by its time must not stop it.
  Psql("surveillance",
       "INSERT INTO event (camera_id, start_time, stop_time, path, filesize, framecount, archived) "
       "VALUES (1, 0, 0, 'ghost.avi', 1, 1, false)");
  const auto daemon = StartDaemon(id);
  ASSERT_TRUE(EventuallyFrames(id, 5));
  const std::string kept = std::to_string(Rows(id)[1]["id"].get<int>());
  ASSERT_EQ(Ctl({"event", "archive", kept}).status, 0);
  double least = 1;
  const auto enough = [&] {
    least = std::min(least, FreeShare());
    return std::atoi(Psql("surveillance", "SELECT max(id) FROM event").c_str()) > 800;
  };
  EXPECT_TRUE(Eventually(enough, std::chrono::seconds(25))) << daemon->Errors().substr(0, 3000);
  EXPECT_GT(least, 0.02);
  EXPECT_LT(least, 0.15) << "the disk never came near its end";
  StopDaemon(*daemon, SIGINT);
  EXPECT_EQ(daemon->Errors().find("cannot write"), std::string::npos) << daemon->Errors();
  EXPECT_EQ(
      Psql("surveillance", "SELECT max(id) - min(id) + 1 - count(*) FROM event WHERE NOT archived"),
      "0")
      << "the newest, without a gap";
  EXPECT_EQ(Psql("surveillance", "SELECT count(*) FROM event WHERE archived"), "1");
  EXPECT_EQ(Ctl({"storage", "check"}).status, 0);

  const Result plan = Ctl({"storage", "rotate", id, "--dry-run"});
  EXPECT_NE(plan.output.find("Nothing has to go."), std::string::npos)
      << plan.output << plan.errors;
  // A rotation takes the rows of a whole second, but only the files that it has to.
  Psql("surveillance", "UPDATE event SET stop_time = start_time + id");
  ASSERT_EQ(Ctl({"camera", "set", id, "--capacity", "2"}).status, 0);
  const auto planned = CtlJson({"storage", "rotate", id, "--dry-run"})["removals"];
  ASSERT_GT(planned.size(), 0U);
  ASSERT_EQ(Ctl({"storage", "rotate", id}).status, 0);
  for (const auto& removal : planned)
    EXPECT_FALSE(
        std::filesystem::exists(Folder("Porch") + "/" + removal["path"].get<std::string>()));
  EXPECT_EQ(CtlJson({"storage", "rotate", id, "--dry-run"})["removals"].size(), 0U);
  EXPECT_EQ(Ctl({"storage", "check"}).status, 0) << Ctl({"storage", "check"}).output;
}

}  // namespace
}  // namespace watchpost::test
