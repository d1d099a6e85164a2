#include "camera/schedule.h"

#include <ctime>

#include "camera/camera.h"
#include "support/test.h"

namespace {

TEST(Schedule, StoresSlotsInOrderAndRefusesOthers) {
  Camera camera;
  for (const auto& [day, hour] : {std::pair{7, 0}, {0, 24}, {-1, 0}, {0, -1}}) {
    EXPECT_EQ(camera.SetSchedule(day, hour, RECORDING_MOTION), -1);
    EXPECT_EQ(camera.GetSchedule(day, hour), RECORDING_NONE);
  }
  EXPECT_EQ(camera.StringFromSchedule(), std::string(168, '0'));
  EXPECT_EQ(camera.SetSchedule(0, 1, RECORDING_MOTION), 0);
  EXPECT_EQ(camera.SetSchedule(6, 23, RECORDING_CONTINUOUS), 0);
  EXPECT_EQ(camera.StringFromSchedule(), "02" + std::string(165, '0') + "1");
  EXPECT_EQ(camera.SetSchedule(0, 0, static_cast<RecordingType>(5)), 0);
  EXPECT_EQ(camera.StringFromSchedule(), "2" + std::string(165, '0') + "1")
      << "one character fewer";
}

TEST(Schedule, DecodesTextsWithoutAskingWhatTheyMean) {
  Camera camera;
  camera.ScheduleFromString("127" + std::string(165, '0') + "999");
  EXPECT_EQ(camera.GetSchedule(0, 0), RECORDING_CONTINUOUS);
  EXPECT_EQ(camera.GetSchedule(0, 2), 7);
  camera.ScheduleFromString("111");
  EXPECT_EQ(camera.GetSchedule(0, 2), 7) << "a short text changes nothing";
}

TEST(Schedule, FollowsLocalTime) {
  for (const char* zone : {"UTC0", "America/St_Johns", "Pacific/Auckland"}) {
    const ScopedEnv env("TZ", zone);
    Camera camera;
    const time_t now = time(nullptr);
    const tm* local = localtime(&now);
    camera.SetSchedule(local->tm_wday, local->tm_hour, RECORDING_MOTION);
    const RecordingType mode = camera.GetCurrentSchedule();
    if (time(nullptr) / 1800 == now / 1800) {  // no hour began meanwhile, in any zone
      EXPECT_EQ(mode, RECORDING_MOTION) << zone;
    }
  }
}

}  // namespace
