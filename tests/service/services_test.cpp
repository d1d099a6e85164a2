#include "service/services.h"

#include <unistd.h>

#include "support/syslogcapture.h"
#include "support/testdatabase.h"

using watchpost::test::SyslogCapture;

namespace {

class DaemonStatus : public watchpost::test::TestDatabase {};

TEST_F(DaemonStatus, KeepsOneRowACamera) {
  DaemonReport first(1);
  DaemonReport second(2);
  EXPECT_EQ(first.ReportStatus(DAEMON_STATUS_STARTING), 0);
  EXPECT_EQ(second.ReportStatus(DAEMON_STATUS_RUNNING), 0);
  EXPECT_EQ(first.ReportStatus(DAEMON_STATUS_STOPPED), 0);
  EXPECT_EQ(Ask("SELECT count(*) FROM camerastatus", "count"), "2");
  EXPECT_EQ(Ask("SELECT status FROM camerastatus WHERE cameraid = 1", "status"), "4");
  EXPECT_EQ(Ask("SELECT pid FROM camerastatus WHERE cameraid = 1", "pid"),
            std::to_string(getpid()));
}

TEST_F(DaemonStatus, TellsOnlyOfAFailedDelete) {
  DaemonReport report(1);
  ASSERT_EQ(WPDBExecute("ALTER TABLE camerastatus ADD CONSTRAINT never CHECK (status < 0)"), 0);
  EXPECT_EQ(report.ReportStatus(DAEMON_STATUS_RUNNING), 0) << "the insert failed";
  ASSERT_EQ(WPDBExecute("ALTER TABLE camerastatus DROP CONSTRAINT never"), 0);
  const Outage outage;
  const SyslogCapture log;
  EXPECT_EQ(report.ReportStatus(DAEMON_STATUS_RUNNING), -1);
  EXPECT_NE(log.Text().find(":ReportStatus(): Unable to delete camera status row [1]\n"),
            std::string::npos);
  EXPECT_EQ(log.Text().find("services.cpp"), std::string::npos);
}

}  // namespace
