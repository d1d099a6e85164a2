#include "notify/notification.h"

#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

class NotificationRow : public TestDatabase {
 protected:
  Notification settings_{NOTIFICATION_NONE, "old", 1, false, "", "", false, false, "", ""};
};

TEST_F(NotificationRow, ComesBackCutToItsLongest) {
  const std::string longer(600, 'x');
  const std::string odd = "it's \\";
  Notification stored(
      NOTIFICATION_SMTP, longer, 587, true, longer, odd, true, false, longer, "b@c'd");
  ASSERT_EQ(stored.Save(), 0);
  ASSERT_EQ(stored.Save(), 0) << "replaces the row";
  ASSERT_EQ(settings_.Reload(), 0);
  EXPECT_EQ(settings_.GetMethod(), NOTIFICATION_SMTP);
  EXPECT_THAT(settings_.GetServer(), SizeIs(256));
  EXPECT_EQ(settings_.GetPort(), 587);
  EXPECT_THAT(settings_.GetUserName(), SizeIs(128));
  EXPECT_EQ(settings_.GetPassword(), odd);
  EXPECT_TRUE(settings_.NeedAuth() && settings_.GetSSL() && !settings_.GetSendTestMail());
  EXPECT_THAT(settings_.GetEmailAddr(), SizeIs(512));
  EXPECT_EQ(settings_.GetEmailAddr2(), "b@c'd");
}

TEST_F(NotificationRow, MayBeMissingOrDoubled) {
  EXPECT_EQ(settings_.Reload(), -1);
  EXPECT_EQ(settings_.GetServer(), "old");
  {
    const Outage outage;
    EXPECT_EQ(settings_.Reload(), 0) << "an unreachable database changes nothing";
    EXPECT_EQ(settings_.GetServer(), "old");
    EXPECT_EQ(settings_.Save(), -1);
  }
  Run("INSERT INTO notification (type, server) VALUES (7, 'first'), (1, 'second')");
  const SyslogCapture log;
  EXPECT_EQ(settings_.Reload(), 0);
  EXPECT_EQ(settings_.GetServer(), "first");
  EXPECT_EQ(settings_.GetMethod(), 7);
  EXPECT_EQ(log.Lines(), 1);
  log.Expect(":Reload(): More than one notification entry\n");
}

}  // namespace
