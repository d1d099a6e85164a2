#include "camera/camera.h"
#include "event/event.h"
#include "event/eventutils.h"
#include "support/syslogcapture.h"

namespace {

TEST(Statements, OfCamerasAreExact) {
  Camera camera("O'Neil \\", "h", 81, "p", "u", "w'");
  camera.SetVendor("v");
  camera.SetModel("m");
  camera.SetFPS(5);
  camera.SetImageWidth(640);
  camera.SetImageHeight(480);
  camera.SetStoragePath("/s");
  camera.SetFilenamePrefix("f");
  camera.SetCapacityLimit(7);
  camera.SetExpireDays(8);
  camera.EnableRotateBySize(true);
  camera.SetSensitivity(50);
  const std::string week = "'" + std::string(168, '0') + "'";
  const std::string insert =
      "INSERT INTO camera (id, name, type, vendor, model, hostname, port, path, username, "
      "password, fps, image_width, image_height, recording_path, recording_prefix, "
      "recording_capacity, recording_days, enable_capacity, enable_days, motion_sensitivity, "
      "enable_motionlog, schedule) VALUES (";
  const std::string values =
      ", 'O''Neil \\', 1, 'v', 'm', 'h', 81, 'p', 'u', 'w''', 5, 640, 480, '/s', 'f', 7, 8, '1', "
      "'0', 50, '0', " +
      week + ")";
  EXPECT_EQ(camera.strSqlInsert(), insert + "0" + values + ";");
  EXPECT_EQ(camera.strSqlInsertByDefaultID(), insert + "DEFAULT" + values + " RETURNING id");
  EXPECT_EQ(
      camera.strSqlUpdate(),
      "UPDATE camera SET name = 'O''Neil \\', type = 1, vendor = 'v', model = 'm', hostname = 'h', "
      "port = 81, path = 'p', username = 'u', password = 'w''', fps = 5, image_width = 640, "
      "image_height = 480, recording_path = '/s', recording_prefix = 'f', recording_capacity = 7, "
      "recording_days = 8, enable_capacity = '1', enable_days = '0', motion_sensitivity = 50, "
      "enable_motionlog = '0', schedule = " +
          week + " WHERE id = 0 ");
}

TEST(Statements, OfEventsAreExact) {
  Event event(3, 640, 480, EVENT_CAUSE_MOTION, "it's.avi");
  event.SetStartTime(5000000000);
  event.SetEndTime(5000000001);
  event.SetArchive(true);
  event.SetSize(9);
  EXPECT_EQ(event.strSqlInsert(),
            "INSERT INTO event (id, camera_id, video_width, video_height, start_time, stop_time, "
            "framecount, cause, archived, path, filesize) VALUES (DEFAULT, 3, 640, 480, "
            "5000000000, 5000000001, 0, 2, '1', 'it''s.avi', 9)RETURNING id");
  EXPECT_EQ(event.strSqlUpdate(),
            "UPDATE event SET camera_id = 3, video_width = 640, video_height = 480, start_time = "
            "5000000000, stop_time = 5000000001, framecount = 0, cause = 2, archived = '1', path = "
            "'it''s.avi', filesize = 9 WHERE id = 0 ");
}

TEST(Statements, ThatLostTheirEndAreNotRun) {
  Event event(3, 640, 480, EVENT_CAUSE_MOTION, std::string(20000, 'x'));
  EXPECT_THAT(event.strSqlUpdate(), SizeIs(16383));
  const SyslogCapture log;
  EXPECT_EQ(event.SqlUpdate(), -1);
  EXPECT_EQ(event.SqlInsert(), -1);
  log.Expect("event:");
  log.Expect(":SqlUpdate(): Failed to execute command");
}

TEST(Statements, FilterByWhatIsNotZero) {
  EXPECT_EQ(BuildEventFilter(0, 0, 0, EVENT_CAUSE_ANY), "");
  EXPECT_EQ(BuildEventFilter(0, 0, 0, EVENT_CAUSE_MOTION), " WHERE cause = 2");
  EXPECT_EQ(BuildEventFilter(3, 1000, 0, EVENT_CAUSE_MOTION),
            " WHERE camera_id = 3 AND start_time >= 1000 AND cause = 2");
  EXPECT_EQ(BuildEventFilter(-1, 0, 7, EVENT_CAUSE_ANY),
            " WHERE camera_id = -1 AND stop_time <= 7");
}

}  // namespace
