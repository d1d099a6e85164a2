#include "event/eventfiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "base/uniquefd.h"
#include "event/eventfolder_internal.h"
#include "event/eventstore.h"
#include "event/recordingfile.h"
#include "support/process.h"
#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

using watchpost::test::Eventually;
using watchpost::test::ScopedEnv;
using watchpost::test::SyslogCapture;
using watchpost::test::TempDir;
using watchpost::test::WriteFile;

// A service folder with two cameras, one of which has a name that a shell would take apart.
class EventFiles : public watchpost::test::TestDatabase {
 protected:
  void SetUp() override {
    TestDatabase::SetUp();
    WriteFile(root_ / "etc/orvainfo.conf", "[service 9]\nvolume=1\npath=/volume1/surveillance\n");
    for (const char* name : {"Porch", "it's $HOME"}) {
      Camera camera;
      camera.SetName(name);
      camera.SetStoragePath(Folder() + "/" + name);
      ASSERT_EQ(camera.Save(false), 0);
      WriteFile(camera.GetStoragePath() + "/a.avi", "recording");
    }
  }

  [[nodiscard]] std::string Folder() const { return root_ / "volume1/surveillance"; }
  static bool Exists(const std::string& path) { return std::filesystem::exists(path); }

  int AddRecording(int camera_id, const std::string& name, int size = 9) {
    Event event(camera_id, 640, 480, EVENT_CAUSE_MOTION, name);
    event.SetSize(size);
    EXPECT_EQ(event.Save(), 0);
    const std::string path = Camera(camera_id).GetStoragePath() + "/" + name;
    WriteFile(path, "recording");
    WriteFile(std::filesystem::path(path).parent_path() / "@eaDir" /
                  std::filesystem::path(path).filename() / "ORVAWP:MOTION.log",
              "levels");
    return event.GetID();
  }

  TempDir root_;
  ScopedEnv env_{"ORVA_ROOT", root_.Path()};
};

TEST_F(EventFiles, GoBeforeTheirRows) {
  const int first = AddRecording(1, "b.avi");
  const int second = AddRecording(2, "b c.avi");
  ASSERT_EQ(DeleteEvent(first), 0);
  EXPECT_FALSE(Exists(Folder() + "/Porch/b.avi"));
  EXPECT_FALSE(Exists(Folder() + "/Porch/@eaDir"));
  std::list<int> ids{second, 4711};
  ASSERT_EQ(DeleteEvent(ids), 0);
  EXPECT_FALSE(Exists(Folder() + "/it's $HOME/b c.avi"));
  EXPECT_EQ(Ask("SELECT count(*) FROM event", "count"), "0");
  EXPECT_NE(watchpost::test::ReadFile(root_ / "var/log/orva/event.log").find("b c.avi"),
            std::string::npos);

  const SyslogCapture log;
  EXPECT_EQ(DeleteEvent(4711), 0) << "no row is no error";
  EXPECT_NE(log.Text().find("DeleteEvent(): Cannot find recorded file of event [4711]"),
            std::string::npos);
  std::list<int> none;
  EXPECT_EQ(DeleteEvent(none), -1);
  EXPECT_NE(log.Text().find("DeleteEvent(): Error deleting events"), std::string::npos);
  EXPECT_EQ(RemoveEventFile(nullptr), -1);

  // A row goes also when its file cannot be removed.
  const int stuck = AddRecording(1, "d.avi");
  std::filesystem::remove(Folder() + "/Porch/d.avi");
  WriteFile(Folder() + "/Porch/d.avi/inside", "x");
  EXPECT_EQ(DeleteEvent(stuck), 0);
  EXPECT_NE(log.Text().find("Cannot delete file [" + Folder() + "/Porch/d.avi]"),
            std::string::npos);
  EXPECT_EQ(Ask("SELECT count(*) FROM event", "count"), "0");
}

TEST_F(EventFiles, TellWhetherTheyAreFinishedAndHowMuchThereIs) {
  Event event(AddRecording(1, "b.avi", INT32_MAX));
  Event other(AddRecording(2, "c.avi", 5));
  (void)AddRecording(1, "d.avi", INT32_MAX);
  Camera porch(1);
  std::string path = "untouched";
  EXPECT_EQ(EventFullPath(porch, other, path), -1);
  EXPECT_EQ(path, "untouched");
  ASSERT_EQ(EventFullPath(porch, event, path), 0);
  EXPECT_EQ(path, Folder() + "/Porch/b.avi");
  EXPECT_TRUE(IsEventComplete(event));
  EXPECT_FALSE(IsEventComplete(porch, other));
  {
    const watchpost::UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(fd.Get(), LOCK_EX), 0);
    EXPECT_FALSE(IsEventComplete(event));
  }
  EXPECT_EQ(GetTotalSizeOfEventInByte(1), 2LL * INT32_MAX);
  EXPECT_EQ(GetTotalSizeOfEventInByte(99), 0);
  Event found;
  EXPECT_EQ(watchpost::FindEvent(2, "c.avi", found), watchpost::StoreResult::kDone);
  EXPECT_EQ(found.GetID(), other.GetID());
  EXPECT_EQ(watchpost::FindEvent(1, "c.avi", found), watchpost::StoreResult::kNoRow);
  EXPECT_EQ(DeleteAllDBEvent(), 0);
  EXPECT_EQ(GetTotalSizeOfEventInByte(1), 0);
  EXPECT_TRUE(Exists(path));
}

TEST_F(EventFiles, FoldersOfNoCameraGo) {
  Camera temporary;
  ASSERT_EQ(temporary.SaveTemp(), 0);
  WriteFile(Folder() + "/Gone/a.avi", "x");
  WriteFile(Folder() + "/no'quote $(touch x)/a.avi", "x");
  WriteFile(Folder() + "/@eaDir/Porch/x", "x");
  ASSERT_EQ(ClearObsoleteDir(), 0);
  EXPECT_FALSE(Exists(Folder() + "/Gone"));
  EXPECT_FALSE(Exists(Folder() + "/no'quote $(touch x)"));
  EXPECT_TRUE(Exists(Folder() + "/@eaDir"));
  EXPECT_TRUE(Exists(Folder() + "/Porch/a.avi"));
  EXPECT_TRUE(Exists(Folder() + "/it's $HOME/a.avi"));
  EXPECT_TRUE(Eventually([this] { return !Exists(root_ / "volume1/@tmp/surveillance"); }));

  const Outage outage;
  WriteFile(Folder() + "/Gone/a.avi", "x");
  EXPECT_EQ(ClearObsoleteDir(), -1) << "cameras that cannot be read are not none";
  EXPECT_TRUE(Exists(Folder() + "/Porch/a.avi"));
}

TEST_F(EventFiles, RowsOfCamerasWithoutAFolderGo) {
  (void)AddRecording(1, "b.avi");
  (void)AddRecording(2, "b.avi");
  std::filesystem::remove_all(Folder() + "/Porch");
  ASSERT_EQ(CheckAndDropEventDBEntry(), 0);
  EXPECT_EQ(Ask("SELECT count(*) FROM event WHERE camera_id=1", "count"), "0");
  EXPECT_EQ(Ask("SELECT count(*) FROM event WHERE camera_id=2", "count"), "1");
  std::filesystem::remove_all(Folder());
  EXPECT_EQ(CheckAndDropEventDBEntry(), -1);
  EXPECT_EQ(Ask("SELECT count(*) FROM event", "count"), "1");
}

TEST_F(EventFiles, NeedToKnowTheService) {
  std::filesystem::remove(root_ / "etc/orvainfo.conf");
  const SyslogCapture log;
  EXPECT_EQ(ClearObsoleteDir(), -1);
  EXPECT_EQ(CheckAndDropEventDBEntry(), -1);
  EXPECT_NE(log.Text().find("CheckAndMakeTempDir(): Get no service info"), std::string::npos);
  EXPECT_NE(log.Text().find("GetSServiceDir(): Get no service info"), std::string::npos);
}

TEST(EventLookup, ReadsTheBeginningFromTheName) {
  const ScopedEnv zone("TZ", "Europe/Berlin");
  tzset();
  EXPECT_EQ(watchpost::StartOfRecording("20261123-024054.avi"), 1795398054L);
  EXPECT_EQ(watchpost::StartOfRecording("a-20200101-000000-20261123-024054-3.avi"), 1795398054L);
  for (const char* name : {"", ".avi", "x.avi", "2026112-0240544.avi", "20261123-024054.mkv"})
    EXPECT_FALSE(watchpost::StartOfRecording(name)) << name;
}

}  // namespace
