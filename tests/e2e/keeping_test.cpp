// A service that is left alone: the disk never fills, and mails say what happens.
#include "e2e/appliance.h"
#include "e2e/privatedisk.h"
#include "support/fakecamera.h"
#include "support/jpegs.h"
#include "support/mailserver.h"

namespace {

class Mailed : public Appliance {
 protected:
  Mailed() : Appliance("mail_steady_seconds=2\n") {
    fs::create_directories(root_ / "lib");
    fs::create_symlink(WATCHPOST_SMTP_LIBRARY, root_ / "lib/liborvasmtp.so");
  }

  // The subjects of the mails taken so far, less their common beginning.
  std::vector<std::string> Subjects(std::size_t count) {
    std::vector<std::string> subjects;
    for (const auto& mail : server_.Mails(count))
      subjects.push_back(mail["subject"].get<std::string>().substr(11));
    return subjects;
  }
  long HowOften(const char* subject) {
    const auto subjects = Subjects(4);
    return std::count(subjects.begin(), subjects.end(), subject);
  }

  MailServer server_;
};

TEST_F(Mailed, OnceForEachThingThatMatters) {
  EXPECT_THAT(Refused("mail test"), HasSubstr("switched off"));
  Do("mail set --server 127.0.0.1 --port " + server_.Port() +
     " --to a@x.org --user u@x.org --password hidden");
  EXPECT_THAT(Do("mail show"), Not(HasSubstr("hidden")));
  EXPECT_THAT(Refused("mail test"), HasSubstr("the mail was not taken"));
  Do("mail set --user ''");
  Do("mail test");
  EXPECT_EQ(Subjects(1).back(), "test mail");

  RecordedCamera porch("--size 160x120 --fps 25");
  EXPECT_EQ(Subjects(2).back(), "camera Porch was added");
  Do("schedule set Porch 'all motion'");
  porch.Start();
  EXPECT_EQ(Subjects(3).back(), "motion at Porch");
  const auto mail = server_.Mails(3).back();
  EXPECT_THAT(mail["body"].get<std::string>(), HasSubstr(porch.Folder() + "/"));

  porch.Fault("drop:10");
  EXPECT_EQ(Subjects(4).back(), "connection to Porch lost");
  EXPECT_TRUE(Eventually([&] { return porch.Rows().size() >= 3; })) << "it comes and goes";
  porch.Fault("none");
  EXPECT_TRUE(Eventually([&] { return HowOften("connection to Porch resumed") == 1; }));
  porch.Stop();
  Do("camera remove Porch --yes");
  EXPECT_TRUE(Eventually([&] { return Subjects(4).back() == "camera Porch was removed"; }));
  EXPECT_EQ(HowOften("connection to Porch lost"), 1);
  EXPECT_EQ(HowOften("connection to Porch resumed"), 1);
}

TEST_F(Mailed, AMailThatTakesLongKeepsNothingOfTheDaemon) {
  FakeCamera silent({""}, FakeCamera::After::kHold, FakeCamera::First::kCamera);
  Do("mail set --server 127.0.0.1 --to a@x.org --port " + std::to_string(silent.Port()));
  RecordedCamera porch("--size 160x120 --fps 25");
  const std::size_t before = silent.Requests().size();  // "was added"
  Do("schedule set Porch 'all motion'");
  porch.Start();
  EXPECT_TRUE(Eventually([&] { return silent.Requests().size() > before; })) << porch.Log();
  porch.Kill();
  porch.Start();
  porch.ExpectLog("was not finished");
  porch.Stop();
  porch.ExpectRowsAndFilesAgree();
}

// Its storage is a small disk of its own, which goes with the process.
class SmallDisk : public Appliance {
 protected:
  SmallDisk() : Appliance("cut_mebibytes=1\nmail_steady_seconds=1\n") {
    // Two sizes of picture in turn make a recording of each picture.
    for (int i = 0; i < 8; ++i) {
      const Jpeg jpeg = MakeJpeg({320 + i % 2 * 16, 240}, static_cast<unsigned>(i));
      WriteFile(pictures_ / (std::to_string(i) + ".jpg"), {jpeg.begin(), jpeg.end()});
    }
  }

  PrivateDisk disk_{root_ / "volume1", "8m"};
  TempDir pictures_;
};

TEST_F(SmallDisk, KeepsTheNewestAndNeverFills) {
  RecordedCamera porch("--fps 15 --frames " + pictures_.Path());
  Do("camera set Porch --capacity 1000");
  // A row that no rotation can remove by its time must not stop it.
  Psql(
      "INSERT INTO event (camera_id, start_time, stop_time, path, filesize, framecount, archived) "
      "VALUES (1, 0, 0, 'ghost.avi', 1, 1, false)");
  porch.Start();
  porch.ExpectFrames(5);
  Do("event archive " + std::to_string(porch.Rows().at(1).id));
  double least = 1;
  const auto enough = [&] {
    least = std::min(least, disk_.FreeShare());
    return std::atoi(Psql("SELECT max(id) FROM event").c_str()) > 400;
  };
  EXPECT_TRUE(Eventually(enough, seconds(60))) << porch.Log().substr(0, 3000);
  EXPECT_GT(least, 0.02);
  EXPECT_LT(least, 0.15) << "the disk never came near its end";
  porch.Stop(SIGINT);
  EXPECT_THAT(porch.Log(), Not(HasSubstr("cannot write")));
  // The ghost's file may lie on a disk that is missing: only a person removes the row.
  EXPECT_EQ(Psql("SELECT count(*) FROM event WHERE path = 'ghost.avi'"), "1");
  Psql("DELETE FROM event WHERE path = 'ghost.avi'");
  EXPECT_EQ(Psql("SELECT max(id) - min(id) + 1 - count(*) FROM event WHERE NOT archived"), "0")
      << "the newest, without a gap";
  EXPECT_EQ(Psql("SELECT count(*) FROM event WHERE archived"), "1");
  Do("storage check");

  EXPECT_THAT(Do("storage rotate Porch --dry-run"), HasSubstr("Nothing has to go."));
  // A rotation takes the rows of a whole second, but only the files that it has to.
  Psql("UPDATE event SET stop_time = start_time + id");
  Do("camera set Porch --capacity 2");
  const auto planned = DoJson("storage rotate Porch --dry-run")["removals"];
  ASSERT_GT(planned.size(), 0U);
  Do("storage rotate Porch");
  for (const auto& removal : planned)
    EXPECT_FALSE(fs::exists(porch.Folder() + "/" + removal["path"].get<std::string>()));
  EXPECT_EQ(DoJson("storage rotate Porch --dry-run")["removals"].size(), 0U);
  Do("storage check");
}

TEST_F(SmallDisk, ACameraWithoutALimitTakesNothingFromTheOthers) {
  RecordedCamera porch("--fps 20 --frames " + pictures_.Path(), "Porch");
  RecordedCamera yard("--fps 20 --size 640x480 --scene noise", "Yard");
  Do("camera set Porch --capacity 1000");
  porch.Start();
  yard.Start();
  EXPECT_TRUE(Eventually([&] { return yard.Logged("it has no limit") > 0; }, seconds(60)))
      << yard.Log();
  const auto bytes = [&] {
    std::size_t sum = 0;
    for (const Row& row : porch.Rows()) sum += row.bytes;
    return sum;
  };
  const std::size_t before = bytes();
  const int frames = porch.Rows().back().id;
  EXPECT_TRUE(Eventually([&] { return porch.Rows().back().id > frames + 200; }, seconds(60)));
  EXPECT_GT(bytes(), before / 2) << "its reserve, a tenth of the disk, may have gone in advance";
  EXPECT_THAT(Refused("service status"), HasSubstr("it has no limit"));
  yard.Stop();
  porch.Stop();
  Do("storage check");
}

}  // namespace
