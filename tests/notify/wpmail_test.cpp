#include "notify/wpmail.h"

#include <sys/prctl.h>
#include <sys/wait.h>

#include <atomic>
#include <set>

#include "notify/maildelivery.h"
#include "support/fakecamera.h"
#include "support/mailserver.h"
#include "support/testdatabase.h"

namespace {

class Mail : public TestDatabase {
 protected:
  void SetUp() override {
    TestDatabase::SetUp();
    fs::create_directories(root_ / "lib");
    fs::create_symlink(WATCHPOST_SMTP_LIBRARY, root_ / "lib/liborvasmtp.so");
    camera_.SetName("Hof & T\xC3\xBCr %FILE%");
    // Processes that send come to this one when they end: it sees all of them.
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  }
  void TearDown() override { EXPECT_TRUE(WaitForSenders()); }

  static void Use(int method, const std::string& port) {
    const int number = std::atoi(port.c_str());
    Notification notification(static_cast<NOTIFICATIONMETHOD>(method),
                              "127.0.0.1",
                              number,
                              false,
                              "",
                              "",
                              false,
                              false,
                              "a@x.org",
                              "b@y.org");
    ASSERT_EQ(notification.Save(), 0);
  }

  void Configure(const std::string& mail) {
    root_.Configure("maillang=\"ger\"\n[mail]\nserver=127.0.0.1\nemail=a@x.org\n" + mail);
  }

  // Whether every sending process, which bears this one's name, ends well in time.
  static bool WaitForSenders() {
    bool well = true;
    const std::string name = ReadFile("/proc/self/comm");
    const auto none_left = [&] {
      bool none = true;
      for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
        std::istringstream children(ReadFile(thread.path() / "children"));
        for (pid_t child = 0; children >> child;) {
          if (ReadFile("/proc/" + std::to_string(child) + "/comm") != name) continue;
          int status = 0;
          if (waitpid(child, &status, WNOHANG) == child) well = well && status == 0;
          none = false;
        }
      }
      return none;
    };
    return Eventually(none_left) && well;
  }

  int Send(int type) {
    time_t when = 1795398054;
    char file[] = "/volume1/surveillance/Hof/20261123-024054.avi";
    return WPMailSender().SendMail(static_cast<WP_MAIL_TYPE>(type), &camera_, &when, file);
  }

  TestRoot root_;
  Camera camera_;
};

TEST_F(Mail, AllEightKindsArriveWithoutAnyTemplateFile) {
  const MailServer server;
  Use(NOTIFICATION_SMTP, server.Port());
  for (int type = WP_MAIL_TEST; type <= WP_MAIL_RECORDING_FAILED; ++type) ASSERT_EQ(Send(type), 0);
  std::set<std::string> subjects;
  for (const auto& mail : server.Mails(8)) {
    SCOPED_TRACE(mail.dump(1));
    const std::string subject = mail["subject"];
    const std::string body = mail["body"];
    subjects.insert(subject);
    EXPECT_EQ(mail["envelope_to"], (nlohmann::json{"a@x.org", "b@y.org"}));
    EXPECT_EQ(mail["to"], "a@x.org, b@y.org");
    EXPECT_THAT(mail["from"].get<std::string>(), HasSubstr(" - Orvantis Watchpost"));
    EXPECT_THAT(mail["raw_subject"].get<std::string>(), StartsWith("=?UTF-8?B?"));
    EXPECT_EQ(mail["type"], "text/plain; charset=\"utf-8\"");
    EXPECT_EQ(mail["transfer"], "8bit");
    EXPECT_TRUE(mail["defects"].empty());
    EXPECT_NE(mail["date"], "");
    const bool motion = subject.find("motion") != std::string::npos;
    const auto has = [&body](const std::string& text) { return body.find(text) < body.size(); };
    EXPECT_EQ(has(camera_.GetName()), subject.find("test") == std::string::npos);
    EXPECT_EQ(has("/volume1/surveillance/Hof/20261123-024054.avi"), motion);
    EXPECT_EQ(has("Mon Nov 23 "), motion) << "a time as ctime writes it";
  }
  EXPECT_EQ(subjects.size(), 8U);
}

TEST_F(Mail, HasASubjectOf511BytesAtMost) {
  const MailServer server;
  Use(NOTIFICATION_SMTP, server.Port());
  camera_.SetName(std::string(400, 'x'));
  ASSERT_EQ(Send(WP_MAIL_ADD_CAMERA), 0);
  const std::string subject = server.Mails(1).front()["raw_subject"];
  EXPECT_GT(subject.size(), 480U);
  EXPECT_LE(subject.size(), 511U);
}

TEST_F(Mail, GoesOutByTheAppliancesSettingsEncryptedAndInItsLanguage) {
  fs::create_directories(root_ / "usr/orva/share");
  fs::create_symlink(WATCHPOST_SOURCE_DIR "/share/mail", root_ / "usr/orva/share/mail");
  const TempDir keys;
  const std::string login =
      "--login u@h.org s3cret --certificate " + MailServer::MakeCertificate(keys);
  Use(NOTIFICATION_SYSTEM_MAIL, "0");
  for (const std::string& options : {login, login + " --tls-at-once"}) {
    const MailServer server(options);
    const std::string settings =
        "port=" + server.Port() + "\nssl=yes\nauth=yes\nuser=u@h.org\npassword=s3cret\n";
    Configure(settings);
    ASSERT_EQ(Send(WP_MAIL_TEST), 0) << "a certificate that nobody vouches for";
    ASSERT_TRUE(WaitForSenders());
    Configure(settings + "tls_ca_file=" + (keys / "certificate.pem") + "\n");
    ASSERT_EQ(Send(WP_MAIL_ADD_CAMERA), 0);
    const auto mail = server.Mails(1).front();
    EXPECT_EQ(mail["subject"], "Watchpost: Kamera " + camera_.GetName() + " hinzugef\xC3\xBCgt");
    EXPECT_EQ(mail["login"], true);
    EXPECT_EQ(mail["tls"], true);
    EXPECT_EQ(mail["envelope_from"], "u@h.org");
    EXPECT_EQ(mail["to"], "a@x.org");
  }
  EXPECT_THAT(root_.EventLog(),
              AllOf(HasSubstr("\"message\":286263296"), Not(HasSubstr("s3cret"))));
}

TEST_F(Mail, IsLeftOutWhenNothingIsToBeSent) {
  const MailServer server;
  Use(NOTIFICATION_SMTP, server.Port());
  WPMailSender sender;
  char file[] = "x.avi";
  time_t when = 0;
  EXPECT_EQ(sender.SendMail(WP_MAIL_ADD_CAMERA, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(sender.SendMail(WP_MAIL_MOTION_DETECTED, &camera_, nullptr, file), 0);
  EXPECT_EQ(sender.SendMail(WP_MAIL_MOTION_DETECTED, &camera_, &when, nullptr), 0);
  for (const int type : {8, -1}) EXPECT_EQ(Send(type), 0) << "type " << type;
  for (const int method : {0, 3}) {
    Use(method, server.Port());
    EXPECT_EQ(Send(WP_MAIL_ADD_CAMERA), 0) << "method " << method;
  }
  ASSERT_TRUE(WaitForSenders());
  Use(NOTIFICATION_SMTP, server.Port());
  EXPECT_EQ(sender.SendMail(WP_MAIL_TEST, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(server.Mails(1).size(), 1U);
}

TEST_F(Mail, SaysWhatFailedAndNeverHangs) {
  static std::string answer;
  MailOrder order;
  order.tag = "WP_TestMail";
  order.language = "../../etc";
  order.placeholders = nullptr;
  order.timeout = 1;
  order.error = [](const char* message) { answer = message; };
  _tag_ORVA_MAIL_ mail{};
  EXPECT_FALSE(HasAddress(mail));
  const struct {
    const char* reply;
    FakeCamera::After after;
    const char* answer;
  } cases[] = {
      {"554 go away\r\n", FakeCamera::After::kHold, "554 go away"},
      {"", FakeCamera::After::kClose, ""},
      {"", FakeCamera::After::kHold, "Timeout"},
      {"220 hello\r\n", FakeCamera::After::kHold, "Timeout"},
      {"\x7F\x01 nonsense\n\n\r\r\n", FakeCamera::After::kClose, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reply);
    const FakeCamera server({c.reply}, c.after, FakeCamera::First::kCamera);
    Configure("port=" + std::to_string(server.Port()) + "\n");
    ASSERT_EQ(ORVAMailGet(&mail), 0);
    answer.clear();
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(DeliverMail(mail, order).failure, MailFailure::kNotSent);
    EXPECT_LT(Clock::now() - begin, seconds(5));
    EXPECT_THAT(answer, AllOf(HasSubstr(c.answer), Not(IsEmpty())));
    ORVAMailFree(&mail);
  }
  Configure("port=1\n");
  ASSERT_EQ(ORVAMailGet(&mail), 0);
  order.tag = "WP_NoSuchMail";
  EXPECT_EQ(DeliverMail(mail, order).failure, MailFailure::kNoTemplate);
  order.tag = "WP_TestMail";
  const TempDir bare;  // of the library that is loaded the path is remembered
  const ScopedEnv env("ORVA_ROOT", bare.Path());
  EXPECT_EQ(DeliverMail(mail, order).failure, MailFailure::kNoLibrary);
  WriteFile(bare / "lib/liborvasmtp.so", "no library");
  EXPECT_EQ(DeliverMail(mail, order).failure, MailFailure::kNoLibrary);
  fs::remove(bare / "lib/liborvasmtp.so");
  fs::create_symlink("/lib/x86_64-linux-gnu/libpq.so.5", bare / "lib/liborvasmtp.so");
  EXPECT_EQ(DeliverMail(mail, order).failure, MailFailure::kNoSymbol);
  EXPECT_EQ(Send(WP_MAIL_TEST), 0);
  ORVAMailFree(&mail);
}

// Threads that are in the log, the calendar, the allocator and the database at the moment of the
// fork must not leave a lock behind that stops the child. AddressSanitizer's own allocator does not
// survive such a fork.
#ifndef __SANITIZE_ADDRESS__
TEST_F(Mail, LeavesNoProcessBehindWhenSentFromManyThreads) {
  Use(NOTIFICATION_SMTP, "1");
  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> busy;
  std::vector<std::thread> senders;
  for (int i = 0; i < 3; ++i) {
    busy.emplace_back([&] {
      while (!stop) {
        const time_t now = time(nullptr);
        tm local{};
        (void)localtime_r(&now, &local);
        (void)Ask("SELECT 1 AS one", "one");
      }
    });
    senders.emplace_back([&] {
      for (int n = 0; n < 40; ++n) failures += Send(WP_MAIL_CONNECTION_LOST) == 0 ? 0 : 1;
    });
  }
  for (std::thread& thread : senders) thread.join();
  stop = true;
  for (std::thread& thread : busy) thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_TRUE(WaitForSenders());
}
#endif

}  // namespace
