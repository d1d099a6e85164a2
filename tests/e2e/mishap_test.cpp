// What owners do to an installation, and what happens to their disks, without a crash.
#include "e2e/appliance.h"
#include "e2e/privatedisk.h"

namespace {

class Mishap : public Appliance {
 protected:
  Mishap() {
    fs::create_directories(root_ / "usr/orva/sbin");
    fs::create_symlink(Program("wpd"), root_ / "usr/orva/sbin/wpd");
  }
};

TEST_F(Mishap, AFolderThatIsNotThereIsADiskThatIsNotMounted) {
  RecordedCamera porch("--fps 20 --size 160x120");
  porch.Start();
  porch.ExpectFrames(20);
  EXPECT_EQ(Ctl("service status").status, 0);
  // Once the folder is gone with its disk, once it is the place where the disk was.
  for (const bool bare : {false, true}) {
    fs::rename(porch.Folder(), root_ / "unmounted");
    if (bare) fs::create_directory(porch.Folder());
    EXPECT_TRUE(Eventually([&] {
      const Result status = Ctl("service status");
      return status.status == 1 && status.output.find("is its disk mounted?") != std::string::npos;
    })) << porch.Log();
    const std::size_t rows = porch.Rows().size();
    EXPECT_THAT(Refused("doctor"), HasSubstr("is its disk mounted?"));
    (void)Ctl("storage check --repair --yes");
    EXPECT_THAT(porch.Rows(), SizeIs(rows)) << "the recordings are on the disk";
    EXPECT_EQ(fs::exists(porch.Folder()), bare);
    EXPECT_EQ(fs::remove(porch.Folder()), bare) << "nothing was recorded into it";
    fs::rename(root_ / "unmounted", porch.Folder());
    EXPECT_TRUE(Eventually([&] {
      return porch.Rows().size() > rows && Ctl("service status").status == 0;
    })) << porch.Log();
  }
  EXPECT_EQ(porch.Logged("is its disk mounted?"), 1) << "one trouble, unless it is over for 10 s";
  porch.Stop();
  porch.ExpectRowsAndFilesAgree();
}

TEST_F(Mishap, AnUnfinishedFileIsFoundWhateverItsName) {
  RecordedCamera porch("--fps 20 --size 160x120");
  porch.Start();
  porch.ExpectFrames(20);
  porch.Kill();
  Do("camera set Porch --prefix later-");
  WriteFile(porch.Folder() + "/20010101-000000.avi", "");  // after a power cut
  fs::create_directories(porch.Folder() + "/.watchpost");
  WriteFile(porch.Folder() + "/.watchpost/1-20010101-000000.avi", "");
  Psql(
      "INSERT INTO event (camera_id, start_time, stop_time, path, filesize, framecount, archived) "
      "VALUES (1, 1, 1, '20010101-000000.avi', 0, 0, false)");
  porch.Start();
  porch.ExpectLog("was not finished");
  porch.ExpectLog("20010101-000000.avi");
  EXPECT_TRUE(Eventually([&] { return porch.Rows().size() == 2 && porch.Rows()[1].frames > 10; }));
  porch.Stop();
  porch.ExpectRowsAndFilesAgree();
  EXPECT_TRUE(fs::is_empty(porch.Folder() + "/.watchpost"));
}

TEST_F(Mishap, ARowThatWaitedDoesNotHideThatItsFileIsUnfinished) {
  RecordedCamera porch("--fps 20 --size 160x120");
  porch.Start();
  porch.ExpectFrames(20);
  KillDatabase();
  porch.ExpectLog("does not answer");
  const std::string journal = root_ / "var/lib/orva/wpd-1.rows";
  EXPECT_TRUE(Eventually([&] { return fs::exists(journal); }));
  porch.Kill();
  StartDatabase();
  fs::rename(porch.Folder(), root_ / "unmounted");
  porch.Start();
  EXPECT_TRUE(Eventually([&] { return !fs::exists(journal); }));
  fs::rename(root_ / "unmounted", porch.Folder());
  porch.ExpectLog("was not finished");
  porch.Stop();
  porch.ExpectRowsAndFilesAgree();
}

TEST_F(Mishap, ADeletedRecordingStaysDeletedWhileItsRowWaits) {
  RecordedCamera porch("--fps 20 --size 160x120");
  porch.Start();
  porch.ExpectFrames(20);
  KillDatabase();
  EXPECT_TRUE(Eventually([&] { return porch.Logged("does not answer") == 1; })) << porch.Log();
  porch.Stop();  // its row waits in the journal
  StartDatabase();
  const std::vector<Row> rows = porch.Rows();
  ASSERT_THAT(rows, SizeIs(1));
  Do("event delete " + std::to_string(rows[0].id) + " --yes");
  porch.Start();
  porch.ExpectFrames(20);
  porch.Stop();
  EXPECT_THAT(porch.Rows(), SizeIs(1)) << "the new one";
  porch.ExpectRowsAndFilesAgree();
}

TEST_F(Mishap, StreamsOfAnotherKindAreRefusedByName) {
  struct Case {
    const char* dialect;
    const char* verified;
    const char* logged;
  };
  for (const Case& one : {Case{"chunked", "chunk", "chunk"},
                          {"jpg", "no JPEG frames", "another type than image/jpeg"},
                          {"shortlength", "damaged", "damaged"}}) {
    SCOPED_TRACE(one.dialect);
    const std::string name = one.dialect;
    RecordedCamera camera("--fps 20 --size 160x120 --dialect " + name, name);
    EXPECT_THAT(Refused("camera verify " + name), HasSubstr(one.verified));
    camera.Start();
    EXPECT_TRUE(Eventually([&] { return camera.Logged(one.logged) > 0; })) << camera.Log();
    camera.Stop();
    EXPECT_EQ(camera.Rows().empty(), name != "shortlength");
  }
}

TEST_F(Mishap, WhatAPersonHasKeptStays) {
  RecordedCamera porch("--fps 20 --size 160x120");
  for (int i = 0; i < 2; ++i) {
    porch.Start();
    porch.ExpectFrames(10 * (i + 1));
    porch.Stop();
  }
  Do("event archive 1");
  EXPECT_THAT(Refused("event delete 1 --yes"), HasSubstr("archived"));
  EXPECT_THAT(Do("event delete --camera Porch --until 2999-01-01 --yes"), HasSubstr("1 archived"));
  EXPECT_THAT(porch.Rows(), SizeIs(1));

  fs::create_directories(Folder("Taken"));
  WriteFile(Folder("Taken") + "/letter.txt", "precious");
  Refused("camera add Taken http://127.0.0.1:9/x");
  WriteFile(porch.Folder() + "/letter.txt", "precious");
  const std::string file = porch.Rows().at(0).path;
  Do("camera set Porch --folder " + Folder("Moved"));
  EXPECT_TRUE(fs::exists(Folder("Moved") + "/" + file));
  WriteFile(Folder("Moved") + "/letter.txt", "precious");
  EXPECT_THAT(Do("camera remove Porch --yes"), HasSubstr("letter.txt"));
  for (const char* camera : {"Taken", "Porch", "Moved"})
    EXPECT_EQ(ReadFile(Folder(camera) + "/letter.txt"), "precious");
  EXPECT_FALSE(fs::exists(Folder("Moved") + "/" + file));
}

TEST_F(Mishap, AMoveToADiskThatIsTooSmallIsTakenBack) {
  RecordedCamera porch("--fps 60");
  for (int i = 0; i < 2; ++i) {
    porch.Start();
    porch.ExpectFrames(60 * (i + 1));
    porch.Stop();
  }
  const PrivateDisk small(root_ / "volume2", "2m");
  const std::string there = root_ / "volume2/porch";
  const Result refused = Ctl("camera set Porch --folder " + there);
  ASSERT_EQ(refused.status, 1) << refused.output;
  EXPECT_THAT(refused.errors, AllOf(HasSubstr("No space left"), HasSubstr("taken back")));
  Do("camera set Porch --folder " + porch.Folder());
  porch.ExpectRowsAndFilesAgree();
  EXPECT_FALSE(fs::exists(there));
  Do("storage check");
}

TEST_F(Mishap, AStrangersLockIsNotADaemon) {
  const RecordedCamera porch("--fps 20 --size 160x120");
  fs::create_directories(root_ / "var/run/orva");
  const std::string lock = root_ / "var/run/orva/wpd-1.lock";
  {
    const Process stranger("flock " + lock + " sleep 60");
    EXPECT_TRUE(Eventually([&] { return RunProgram("flock -n " + lock + " true").status != 0; }));
    EXPECT_THAT(Refused("service start"), Not(HasSubstr("runs already")));
  }
  fs::remove(lock);
  Do("service start");
  EXPECT_EQ(fs::status(lock).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  Do("service stop");
}

}  // namespace
