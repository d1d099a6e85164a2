#include "camera/camera.h"

#include "support/process.h"
#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

class CameraRows : public TestDatabase {
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
  EXPECT_THAT((std::array{region.Left(), region.Top(), region.Right(), region.Bottom()}),
              ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(Camera(99).GetId(), 0);
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
  EXPECT_THAT(camera.GetMotionDet()->GetRegion(0).Name(), SizeIs(256)) << "in the object too";
  const Camera loaded(camera.GetId());
  EXPECT_THAT(loaded.GetName(), SizeIs(256));
  EXPECT_THAT(loaded.GetHost(), SizeIs(256));
  EXPECT_THAT(loaded.GetPath(), SizeIs(512));
  EXPECT_THAT(loaded.GetVendor() + loaded.GetModel(), SizeIs(256));
  EXPECT_THAT(loaded.GetUsername() + loaded.GetPassword(), SizeIs(256));
  EXPECT_THAT(loaded.GetStoragePath() + loaded.GetFilenamePrefix(), SizeIs(512));
}

TEST_F(CameraRows, OfTheTemporaryCameraAreNeverListed) {
  Camera camera = Stored("real");
  EXPECT_EQ(camera.SaveTemp(), 0);
  camera.SetName("tried");
  EXPECT_EQ(camera.SaveTemp(), 0) << "replaces the earlier one";
  EXPECT_EQ(camera.GetId(), 1) << "the object keeps its id";
  EXPECT_EQ(Rows("camera WHERE id = 0 AND name = 'tried'"), 1);
  Stored("second");
  EXPECT_THAT(CameraEnum(), ElementsAre(1, 2));
  ASSERT_THAT(CameraGetAll(), SizeIs(2));
  EXPECT_EQ(CameraGetAll().front().GetName(), "real");
  camera.SetName("updated");
  EXPECT_EQ(camera.Save(true), 0) << "the flag matters for id 0 only";
  EXPECT_EQ(Rows("camera WHERE id = 1 AND name = 'updated'"), 1);
}

TEST_F(CameraRows, ReportThatTheDatabaseIsAway) {
  Camera stored = Stored("x");
  Camera fresh("y", "h", 80, "p", "", "");
  const Outage outage;
  const SyslogCapture log;
  EXPECT_EQ(fresh.Save(false), -1);
  log.Expect(":InsertByNewID(): Failed to execute command\n");
  log.Expect(":Save(): INSERT FAILED\n");
  EXPECT_EQ(fresh.Save(true), -1);
  log.Expect(":DeleteDBEntry(): Failed to delete camera 0\n");
  log.Expect(":Save(): DELETE FAILED\n");
  EXPECT_EQ(stored.Save(false), 0) << "a failed update counts as saved";
  log.Expect(":Update(): Failed to execute command\n");
  EXPECT_EQ(stored.Load(1), -1);
  EXPECT_EQ(stored.GetId(), 0);
  EXPECT_EQ(stored.GetName(), "x") << "the rest stays";
  EXPECT_THAT(CameraEnum(), IsEmpty());
}

TEST_F(CameraRows, IgnoreWhatAScheduleMayNotHold) {
  Run("INSERT INTO camera (id, schedule) VALUES (5, '12" + std::string(200, 'x') + "1')");
  const Camera camera(5);
  EXPECT_EQ(camera.StringFromSchedule(), "12" + std::string(166, '0'));
  EXPECT_EQ(camera.GetName(), "") << "a null is an empty text";
}

TEST_F(CameraRows, GoWithTheirRecordings) {
  TestRoot root;
  Camera camera = Stored("a");
  Run("INSERT INTO event (camera_id) VALUES (1), (1), (2)");
  const SyslogCapture log;
  root.Configure("");
  EXPECT_EQ(camera.Delete(), -1);
  log.Expect(":DeleteEventsOfCamera(): Get no service info\n");
  EXPECT_EQ(Rows("event"), 3) << "nothing else is removed then";
  root.Configure("[service 9]\nvolume=1\npath=/volume1/surveillance\n");
  camera.SetStoragePath(root.Service("it's; $(touch x)"));
  WriteFile(root.Service("it's; $(touch x)/a.avi"), "x");
  EXPECT_EQ(camera.Delete(), 0);
  EXPECT_FALSE(fs::exists(camera.GetStoragePath())) << "at once";
  EXPECT_EQ(Rows("event"), 1);
  EXPECT_EQ(Rows("camera"), 0);
  EXPECT_TRUE(Eventually([&] { return fs::is_empty(root / "volume1/@tmp"); })) << "and later";

  Camera elsewhere = Stored("b");
  elsewhere.SetStoragePath(root / "not there");
  EXPECT_EQ(elsewhere.Delete(), 0) << "also when the folder cannot be moved";
  log.Expect(":DeleteEventsOfCamera(): Remove to tmp error!\n");
  EXPECT_EQ(Rows("camera"), 0);
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
    EXPECT_EQ(regions.Reload(7), 0) << "as for a camera without regions";
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
  for (const int wrong : {-1, 101}) EXPECT_EQ(camera.SetSensitivity(wrong), -1);
  EXPECT_EQ(camera.GetSensitivity(), 99);
  for (const int right : {0, 100}) EXPECT_EQ(camera.SetSensitivity(right), 0);
}

}  // namespace
