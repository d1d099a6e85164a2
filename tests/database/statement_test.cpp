#include "event/event.h"
#include "event/eventutils.h"
#include "support/syslogcapture.h"

namespace {

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
