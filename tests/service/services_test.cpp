#include "service/services.h"

#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

class DaemonStatus : public TestDatabase {};

TEST_F(DaemonStatus, KeepsOneRowACamera) {
  DaemonReport first(1);
  DaemonReport second(2);
  EXPECT_EQ(first.ReportStatus(DAEMON_STATUS_STARTING), 0);
  EXPECT_EQ(second.ReportStatus(DAEMON_STATUS_RUNNING), 0);
  EXPECT_EQ(first.ReportStatus(DAEMON_STATUS_STOPPED), 0);
  EXPECT_EQ(Rows("camerastatus"), 2);
  const std::string pid = std::to_string(getpid());
  EXPECT_EQ(Rows("camerastatus WHERE cameraid = 1 AND status = 4 AND pid = " + pid), 1);
}

TEST_F(DaemonStatus, ReportsOnlyAFailedDelete) {
  DaemonReport report(1);
  Run("ALTER TABLE camerastatus ADD CONSTRAINT never CHECK (status < 0)");
  EXPECT_EQ(report.ReportStatus(DAEMON_STATUS_RUNNING), 0) << "the insert failed";
  Run("ALTER TABLE camerastatus DROP CONSTRAINT never");
  const Outage outage;
  const SyslogCapture log;
  EXPECT_EQ(report.ReportStatus(DAEMON_STATUS_RUNNING), -1);
  log.Expect(":ReportStatus(): Unable to delete camera status row [1]\n");
  EXPECT_THAT(log.Text(), Not(HasSubstr("services.cpp")));
}

}  // namespace
