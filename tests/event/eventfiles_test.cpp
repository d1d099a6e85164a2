#include "event/eventfiles.h"

#include "event/eventfolder_internal.h"
#include "event/eventstore.h"
#include "event/recordingfile.h"
#include "support/process.h"
#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

// Two cameras, one of which has a name that a shell would take apart.
class EventFiles : public TestDatabase {
 protected:
  void SetUp() override {
    TestDatabase::SetUp();
    for (const char* name : {"Porch", "it's $HOME"}) {
      Camera camera;
      camera.SetName(name);
      camera.SetStoragePath(root_.Service(name));
      ASSERT_EQ(camera.Save(false), 0);
      WriteFile(camera.GetStoragePath() + "/a.avi", "recording");
    }
  }

  [[nodiscard]] bool Exists(const std::string& name) const {
    return fs::exists(root_.Service(name));
  }

  int AddRecording(int camera_id, const std::string& name, int size = 9) {
    Event event(camera_id, 640, 480, EVENT_CAUSE_MOTION, name);
    event.SetSize(size);
    EXPECT_EQ(event.Save(), 0);
    const std::string folder = Camera(camera_id).GetStoragePath() + "/";
    WriteFile(folder + name, "recording");
    WriteFile(folder + "@eaDir/" + name + "/ORVAWP:MOTION.log", "levels");
    return event.GetID();
  }

  TestRoot root_;
};

TEST_F(EventFiles, GoBeforeTheirRows) {
  const int first = AddRecording(1, "b.avi");
  const int second = AddRecording(2, "b c.avi");
  ASSERT_EQ(DeleteEvent(first), 0);
  EXPECT_FALSE(Exists("Porch/b.avi"));
  EXPECT_FALSE(Exists("Porch/@eaDir"));
  std::list<int> ids{second, 4711};
  ASSERT_EQ(DeleteEvent(ids), 0);
  EXPECT_FALSE(Exists("it's $HOME/b c.avi"));
  EXPECT_EQ(Rows("event"), 0);
  EXPECT_THAT(root_.EventLog(), HasSubstr("b c.avi"));

  const SyslogCapture log;
  EXPECT_EQ(DeleteEvent(4711), 0) << "no row is no error";
  log.Expect("DeleteEvent(): Cannot find recorded file of event [4711]");
  std::list<int> none;
  EXPECT_EQ(DeleteEvent(none), -1);
  log.Expect("DeleteEvent(): Error deleting events");
  EXPECT_EQ(RemoveEventFile(nullptr), -1);

  // A row goes also when its file cannot be removed.
  const int stuck = AddRecording(1, "d.avi");
  fs::remove(root_.Service("Porch/d.avi"));
  WriteFile(root_.Service("Porch/d.avi/inside"), "x");
  EXPECT_EQ(DeleteEvent(stuck), 0);
  log.Expect("Cannot delete file [" + root_.Service("Porch/d.avi") + "]");
  EXPECT_EQ(Rows("event"), 0);
}

TEST_F(EventFiles, ShowWhetherTheyAreFinishedAndHowMuchThereIs) {
  Event event(AddRecording(1, "b.avi", INT32_MAX));
  Event other(AddRecording(2, "c.avi", 5));
  (void)AddRecording(1, "d.avi", INT32_MAX);
  Camera porch(1);
  std::string path = "untouched";
  EXPECT_EQ(EventFullPath(porch, other, path), -1);
  EXPECT_EQ(path, "untouched");
  ASSERT_EQ(EventFullPath(porch, event, path), 0);
  EXPECT_EQ(path, root_.Service("Porch/b.avi"));
  EXPECT_TRUE(IsEventComplete(event));
  EXPECT_FALSE(IsEventComplete(porch, other));
  {
    const UniqueFd fd = LockFile(path);
    EXPECT_FALSE(IsEventComplete(event));
  }
  EXPECT_EQ(GetTotalSizeOfEventInByte(1), 2LL * INT32_MAX);
  EXPECT_EQ(GetTotalSizeOfEventInByte(99), 0);
  Event found;
  EXPECT_EQ(FindEvent(2, "c.avi", found), StoreResult::kDone);
  EXPECT_EQ(found.GetID(), other.GetID());
  EXPECT_EQ(FindEvent(1, "c.avi", found), StoreResult::kNoRow);
  EXPECT_EQ(DeleteAllDBEvent(), 0);
  EXPECT_EQ(GetTotalSizeOfEventInByte(1), 0);
  EXPECT_TRUE(fs::exists(path));
}

TEST_F(EventFiles, FoldersOfNoCameraGo) {
  Camera temporary;
  ASSERT_EQ(temporary.SaveTemp(), 0);
  for (const char* file : {"Gone/a.avi", "no'quote $(touch x)/a.avi", "@eaDir/Porch/x"})
    WriteFile(root_.Service(file), "x");
  ASSERT_EQ(ClearObsoleteDir(), 0);
  EXPECT_FALSE(Exists("Gone"));
  EXPECT_FALSE(Exists("no'quote $(touch x)"));
  for (const char* left : {"@eaDir", "Porch/a.avi", "it's $HOME/a.avi"})
    EXPECT_TRUE(Exists(left)) << left;
  EXPECT_TRUE(Eventually([this] { return !fs::exists(root_ / "volume1/@tmp/surveillance"); }));

  const Outage outage;
  EXPECT_EQ(ClearObsoleteDir(), -1) << "cameras that cannot be read are not none";
  EXPECT_TRUE(Exists("Porch/a.avi"));
}

TEST_F(EventFiles, RowsOfCamerasWithoutAFolderGo) {
  (void)AddRecording(1, "b.avi");
  (void)AddRecording(2, "b.avi");
  fs::remove_all(root_.Service("Porch"));
  ASSERT_EQ(CheckAndDropEventDBEntry(), 0);
  EXPECT_EQ(Rows("event WHERE camera_id=1"), 0);
  EXPECT_EQ(Rows("event WHERE camera_id=2"), 1);
  fs::remove_all(root_.Service());
  EXPECT_EQ(CheckAndDropEventDBEntry(), -1);
  EXPECT_EQ(Rows("event"), 1);
}

TEST_F(EventFiles, NeedToKnowTheService) {
  root_.Configure("");
  const SyslogCapture log;
  EXPECT_EQ(ClearObsoleteDir(), -1);
  EXPECT_EQ(CheckAndDropEventDBEntry(), -1);
  log.Expect("CheckAndMakeTempDir(): Get no service info");
  log.Expect("GetSServiceDir(): Get no service info");
}

TEST(EventLookup, ReadsTheBeginningFromTheName) {
  const ScopedEnv zone("TZ", "Europe/Berlin");
  EXPECT_EQ(StartOfRecording("20261123-024054.avi"), 1795398054L);
  EXPECT_EQ(StartOfRecording("a-20200101-000000-20261123-024054-3.avi"), 1795398054L);
  for (const char* name : {"", ".avi", "x.avi", "2026112-0240544.avi", "20261123-024054.mkv"})
    EXPECT_FALSE(StartOfRecording(name)) << name;
}

}  // namespace
