#include "camera/camera.h"

#include <filesystem>

#include "support/syslogcapture.h"
#include "support/testdatabase.h"

using watchpost::test::ScopedEnv;
using watchpost::test::SyslogCapture;
using watchpost::test::TempDir;
using watchpost::test::WriteFile;
namespace fs = std::filesystem;

namespace {

class CameraRows : public watchpost::test::TestDatabase {
 protected:
  static Camera Stored(const std::string& name) {
    Camera camera(name, "h", 80, "p", "u", "w");
    EXPECT_EQ(camera.Save(false), 0);
    return camera;
  }
};

TEST_F(CameraRows, ComeBackByteForByte) {
  Camera camera("It's a \\ \"n\xC3", "h'", 8080, "a?b='c'", "u\\'", "\xFF\x01");
  camera.SetSensitivity(0);
  camera.SetSchedule(6, 23, RECORDING_MOTION);
  camera.EnableRotateByDate(true);
  camera.EnableMotionLog(true);
  camera.SetExpireDays(30);
  camera.SetImageWidth(640);
  camera.GetMotionDet()->AddRegion(MotionRegion(1, 2, 3, 4, "door's"));
  ASSERT_EQ(camera.Save(false), 0);
  ASSERT_TRUE(camera.IsSaved());

  Camera loaded(camera.GetId());
  EXPECT_EQ(loaded.strSqlUpdate(), camera.strSqlUpdate()) << "every field";
  ASSERT_EQ(loaded.GetMotionDet()->RegionCount(), 1);
  const MotionRegion& region = loaded.GetMotionDet()->GetRegion(0);
  EXPECT_EQ(region.Name(), "door's");
  EXPECT_EQ(region.Left(), 1);
  EXPECT_EQ(region.Top(), 2);
  EXPECT_EQ(region.Right(), 3);
  EXPECT_EQ(region.Bottom(), 4);
  Camera missing(99);
  EXPECT_EQ(missing.GetId(), 0);
}

TEST_F(CameraRows, AreCutToTheirLongest) {
  const std::string longer(600, 'x');
  Camera camera(longer, longer, 80, longer, longer, longer);
  camera.SetVendor(longer);
  camera.SetModel(longer);
  camera.SetStoragePath(longer);
  camera.SetFilenamePrefix(longer);
  camera.GetMotionDet()->AddRegion(MotionRegion(0, 0, 1, 1, longer));
  ASSERT_EQ(camera.Save(false), 0);
  EXPECT_EQ(camera.GetMotionDet()->GetRegion(0).Name().size(), 256U) << "in the object too";
  const Camera loaded(camera.GetId());
  EXPECT_EQ(loaded.GetName().size(), 256U);
  EXPECT_EQ(loaded.GetHost().size(), 256U);
  EXPECT_EQ(loaded.GetPath().size(), 512U);
  EXPECT_EQ(loaded.GetVendor().size() + loaded.GetModel().size(), 256U);
  EXPECT_EQ(loaded.GetUsername().size() + loaded.GetPassword().size(), 256U);
  EXPECT_EQ(loaded.GetStoragePath().size() + loaded.GetFilenamePrefix().size(), 512U);
}

TEST_F(CameraRows, OfTheTemporaryCameraAreNeverListed) {
  Camera camera = Stored("real");
  EXPECT_EQ(camera.SaveTemp(), 0);
  camera.SetName("tried");
  EXPECT_EQ(camera.SaveTemp(), 0) << "replaces the earlier one";
  EXPECT_EQ(camera.GetId(), 1) << "the object keeps its id";
  EXPECT_EQ(Ask("SELECT name FROM camera WHERE id = 0", "name"), "tried");
  Stored("second");
  EXPECT_EQ(CameraEnum(), (std::list<int>{1, 2}));
  ASSERT_EQ(CameraGetAll().size(), 2U);
  EXPECT_EQ(CameraGetAll().front().GetName(), "real");
  camera.SetName("updated");
  EXPECT_EQ(camera.Save(true), 0) << "the flag matters for id 0 only";
  EXPECT_EQ(Ask("SELECT name FROM camera WHERE id = 1", "name"), "updated");
}

TEST_F(CameraRows, TellWhenTheDatabaseIsAway) {
  Camera stored = Stored("x");
  Camera fresh("y", "h", 80, "p", "", "");
  const Outage outage;
  const SyslogCapture log;
  EXPECT_EQ(fresh.Save(false), -1);
  EXPECT_NE(log.Text().find(":InsertByNewID(): Failed to execute command\n"), std::string::npos);
  EXPECT_NE(log.Text().find(":Save(): INSERT FAILED\n"), std::string::npos);
  EXPECT_EQ(fresh.Save(true), -1);
  EXPECT_NE(log.Text().find(":DeleteDBEntry(): Failed to delete camera 0\n"), std::string::npos);
  EXPECT_NE(log.Text().find(":Save(): DELETE FAILED\n"), std::string::npos);
  EXPECT_EQ(stored.Save(false), 0) << "a failed update counts as saved";
  EXPECT_NE(log.Text().find(":Update(): Failed to execute command\n"), std::string::npos);
  EXPECT_EQ(stored.Load(1), -1);
  EXPECT_EQ(stored.GetId(), 0);
  EXPECT_EQ(stored.GetName(), "x") << "the rest stays";
  EXPECT_TRUE(CameraEnum().empty());
}

TEST_F(CameraRows, IgnoreWhatAScheduleMayNotHold) {
  ASSERT_EQ(WPDBExecute("INSERT INTO camera (id, schedule) VALUES (5, '12" + std::string(200, 'x') +
                        "1')"),
            0);
  const Camera camera(5);
  EXPECT_EQ(camera.StringFromSchedule(), "12" + std::string(166, '0'));
  EXPECT_EQ(camera.GetName(), "") << "a null is an empty text";
}

TEST_F(CameraRows, GoWithTheirRecordings) {
  const TempDir root;
  const ScopedEnv env("ORVA_ROOT", root.Path());
  Camera camera = Stored("a");
  ASSERT_EQ(WPDBExecute("INSERT INTO event (camera_id) VALUES (1), (1), (2)"), 0);
  {
    const SyslogCapture log;
    EXPECT_EQ(camera.Delete(), -1);
    EXPECT_NE(log.Text().find(":DeleteEventsOfCamera(): Get no service info\n"), std::string::npos);
    EXPECT_EQ(Ask("SELECT count(*) FROM event", "count"), "3") << "nothing else is removed then";
  }
  const std::string folder = root / "volume1/s/it's; $(touch x)";
  WriteFile(root / "etc/orvainfo.conf", "[service 9]\nvolume=1\npath=/volume1/s\n");
  WriteFile(folder + "/a.avi", "x");
  camera.SetStoragePath(folder);
  EXPECT_EQ(camera.Delete(), 0);
  EXPECT_FALSE(fs::exists(folder)) << "at once";
  EXPECT_EQ(Ask("SELECT count(*) FROM event", "count"), "1");
  EXPECT_EQ(Ask("SELECT count(*) FROM camera", "count"), "0");
  for (int i = 0; i < 1000 && !fs::is_empty(root / "volume1/@tmp"); ++i) usleep(10000);
  EXPECT_TRUE(fs::is_empty(root / "volume1/@tmp")) << "removed in the background";
}

TEST_F(CameraRows, GoEvenWhenTheirFolderCannotBeMoved) {
  const TempDir root;
  const ScopedEnv env("ORVA_ROOT", root.Path());
  WriteFile(root / "etc/orvainfo.conf", "[service 9]\nvolume=1\npath=/volume1/s\n");
  fs::create_directories(root / "volume1");
  Camera camera = Stored("a");
  camera.SetStoragePath(root / "not there");
  const SyslogCapture log;
  EXPECT_EQ(camera.Delete(), 0);
  EXPECT_NE(log.Text().find(":DeleteEventsOfCamera(): Remove to tmp error!\n"), std::string::npos);
  EXPECT_EQ(Ask("SELECT count(*) FROM camera", "count"), "0");
}

TEST_F(CameraRows, KeepRegionsAsFarAsTheyCanBeRead) {
  MotionDetection regions;
  regions.AddRegion(MotionRegion(1, 1, 2, 2, "a"));
  regions.AddRegion(MotionRegion(3, 3, 4, 4, "b"));
  regions.AddRegion(MotionRegion(5, 5, 6, 6, "c"));
  EXPECT_EQ(regions.DeleteRegion(3), -1);
  EXPECT_EQ(regions.DeleteRegion(0), 0);
  EXPECT_EQ(regions.GetRegion(0).Name(), "b");
  ASSERT_EQ(regions.Save(0), 0);
  EXPECT_EQ(regions.Reload(-1), -1);
  {
    const Outage outage;
    EXPECT_EQ(regions.Save(0), -1);
    EXPECT_EQ(regions.Reload(7), 0) << "cannot be told from a camera without regions";
    EXPECT_EQ(regions.RegionCount(), 2);
  }
  EXPECT_EQ(regions.Reload(7), 0);
  EXPECT_EQ(regions.RegionCount(), 0);
  EXPECT_EQ(regions.Reload(0), 0);
  EXPECT_EQ(regions.RegionCount(), 2);
}

TEST(CameraRecord, RefusesSensitivitiesOutOfRange) {
  Camera camera("n", "h", CameraPreset(CAMERA_API_GENERIC, "X", 8080));
  EXPECT_EQ(camera.GetPort(), 8080);
  EXPECT_EQ(camera.GetPath() + camera.GetModel(), "");
  EXPECT_EQ(camera.GetSensitivity(), 99);
  for (const int wrong : {-1, 101}) EXPECT_EQ(camera.SetSensitivity(wrong), -1);
  EXPECT_EQ(camera.GetSensitivity(), 99);
  for (const int right : {0, 100}) EXPECT_EQ(camera.SetSensitivity(right), 0);
}

}  // namespace
