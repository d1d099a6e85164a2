#include "notify/notification.h"

#include "support/syslogcapture.h"
#include "support/testdatabase.h"

using watchpost::test::SyslogCapture;

namespace {

class NotificationRow : public watchpost::test::TestDatabase {
 protected:
  Notification settings_{NOTIFICATION_NONE, "old", 1, false, "", "", false, false, "", ""};
};

TEST_F(NotificationRow, ComesBackCutToItsLongest) {
  const std::string longer(600, 'x');
  Notification stored(
      NOTIFICATION_SMTP, longer, 587, true, longer, "it's \\", true, false, longer, "b@c'd");
  ASSERT_EQ(stored.Save(), 0);
  ASSERT_EQ(stored.Save(), 0) << "replaces the row";
  ASSERT_EQ(settings_.Reload(), 0);
  EXPECT_EQ(settings_.GetMethod(), NOTIFICATION_SMTP);
  EXPECT_EQ(settings_.GetServer().size(), 256U);
  EXPECT_EQ(settings_.GetPort(), 587);
  EXPECT_TRUE(settings_.NeedAuth());
  EXPECT_EQ(settings_.GetUserName().size(), 128U);
  EXPECT_EQ(settings_.GetPassword(), "it's \\");
  EXPECT_TRUE(settings_.GetSSL());
  EXPECT_FALSE(settings_.GetSendTestMail());
  EXPECT_EQ(settings_.GetEmailAddr().size(), 512U);
  EXPECT_EQ(settings_.GetEmailAddr2(), "b@c'd");
}

TEST_F(NotificationRow, MayBeMissingOrDoubled) {
  EXPECT_EQ(settings_.Reload(), -1);
  EXPECT_EQ(settings_.GetServer(), "old");
  ASSERT_EQ(
      WPDBExecute("INSERT INTO notification (type, server) VALUES (7, 'first'), (1, 'second')"), 0);
  const SyslogCapture log;
  EXPECT_EQ(settings_.Reload(), 0);
  EXPECT_EQ(settings_.GetServer(), "first");
  EXPECT_EQ(settings_.GetMethod(), 7);
  EXPECT_EQ(log.Lines(), 1);
  EXPECT_NE(log.Text().find(":Reload(): More than one notification entry\n"), std::string::npos);
}

TEST_F(NotificationRow, CannotBeToldFromAnUnreachableDatabase) {
  const Outage outage;
  EXPECT_EQ(settings_.Reload(), 0);
  EXPECT_EQ(settings_.GetServer(), "old");
  EXPECT_EQ(settings_.Save(), -1);
}

}  // namespace
