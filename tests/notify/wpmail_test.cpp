#include "notify/wpmail.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <set>
#include <sstream>
#include <thread>

#include "notify/maildelivery.h"
#include "support/fakecamera.h"
#include "support/mailserver.h"
#include "support/testdatabase.h"

namespace {

using watchpost::MailFailure;
using watchpost::test::Eventually;
using watchpost::test::FakeCamera;
using watchpost::test::MailServer;
using watchpost::test::ReadFile;
using watchpost::test::ScopedEnv;
using watchpost::test::TempDir;
using watchpost::test::WriteFile;
using Clock = std::chrono::steady_clock;

class Mail : public watchpost::test::TestDatabase {
 protected:
  void SetUp() override {
    TestDatabase::SetUp();
    std::filesystem::create_directories(root_ / "lib");
    std::filesystem::create_symlink(WATCHPOST_SMTP_LIBRARY, root_ / "lib/liborvasmtp.so");
    camera_.SetName("Hof & T\xC3\xBCr %FILE%");
    // Processes that send come to this one when they end: it sees all of them.
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  }
  void TearDown() override { EXPECT_TRUE(WaitForSenders()); }

  void Use(NOTIFICATIONMETHOD method, const std::string& port) {
    Notification notification(method,
                              "127.0.0.1",
                              std::atoi(port.c_str()),
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
    WriteFile(root_ / "etc/orvainfo.conf", "maillang=\"ger\"\n[mail]\n" + mail);
  }

  // Whether every sending process, which bears this one's name, ends well in time.
  static bool WaitForSenders() {
    bool well = true;
    const std::string name = ReadFile("/proc/self/comm");
    const auto none_left = [&] {
      bool none = true;
      for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
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

  int Send(WP_MAIL_TYPE type) {
    time_t when = 1795398054;
    char file[] = "/volume1/surveillance/Hof/20261123-024054.avi";
    return WPMailSender().SendMail(type, &camera_, &when, file);
  }

  TempDir root_;
  ScopedEnv env_{"ORVA_ROOT", root_.Path()};
  Camera camera_;
};

TEST_F(Mail, AllEightKindsArriveWithoutAnyTemplateFile) {
  const MailServer server;
  Use(NOTIFICATION_SMTP, server.Port());
  for (int type = WP_MAIL_TEST; type <= WP_MAIL_RECORDING_FAILED; ++type)
    ASSERT_EQ(Send(static_cast<WP_MAIL_TYPE>(type)), 0);
  std::set<std::string> subjects;
  for (const auto& mail : server.Mails(8)) {
    SCOPED_TRACE(mail.dump(1));
    subjects.insert(mail["subject"].get<std::string>());
    EXPECT_EQ(mail["envelope_to"], (nlohmann::json{"a@x.org", "b@y.org"}));
    EXPECT_EQ(mail["to"], "a@x.org, b@y.org");
    EXPECT_NE(mail["from"].get<std::string>().find(" - Orvantis Watchpost"), std::string::npos);
    EXPECT_EQ(mail["raw_subject"].get<std::string>().substr(0, 10), "=?UTF-8?B?");
    EXPECT_EQ(mail["type"], "text/plain; charset=\"utf-8\"");
    EXPECT_EQ(mail["transfer"], "8bit");
    EXPECT_TRUE(mail["defects"].empty());
    EXPECT_FALSE(mail["date"].get<std::string>().empty());
    const auto subject = mail["subject"].get<std::string>();
    const auto body = mail["body"].get<std::string>();
    const std::string name = camera_.GetName();
    EXPECT_EQ(body.find(name) == std::string::npos, subject.find("test") != std::string::npos);
    const bool motion = subject.find("motion") != std::string::npos;
    EXPECT_EQ(body.find("/volume1/surveillance/Hof/20261123-024054.avi") != std::string::npos,
              motion);
    EXPECT_EQ(body.find("Mon Nov 23 ") != std::string::npos, motion) << "a time as ctime writes it";
  }
  EXPECT_EQ(subjects.size(), 8U);
}

TEST_F(Mail, GoesOutByTheAppliancesSettingsEncryptedAndInItsLanguage) {
  std::filesystem::create_directories(root_ / "usr/orva/share");
  std::filesystem::create_symlink(WATCHPOST_SOURCE_DIR "/share/mail",
                                  root_ / "usr/orva/share/mail");
  const TempDir keys;
  const std::string certificate = MailServer::MakeCertificate(keys);
  for (const bool at_once : {false, true}) {
    std::vector<std::string> options{"--login", "u@h.org", "s3cret", "--certificate", certificate};
    if (at_once) options.emplace_back("--tls-at-once");
    const MailServer server(options);
    Use(NOTIFICATION_SYSTEM_MAIL, "0");
    const std::string settings = "server=127.0.0.1\nport=" + server.Port() +
                                 "\nssl=yes\nauth=yes\nuser=u@h.org\npassword=s3cret\n"
                                 "email=a@x.org\n";
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
  const std::string log = ReadFile(root_ / "var/log/orva/event.log");
  EXPECT_NE(log.find("\"message\":286263296"), std::string::npos) << log;
  EXPECT_EQ(log.find("s3cret"), std::string::npos);
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
  EXPECT_EQ(sender.SendMail(static_cast<WP_MAIL_TYPE>(8), &camera_, &when, file), 0);
  EXPECT_EQ(sender.SendMail(static_cast<WP_MAIL_TYPE>(-1), &camera_, &when, file), 0);
  for (const int method : {0, 3}) {
    Use(static_cast<NOTIFICATIONMETHOD>(method), server.Port());
    EXPECT_EQ(Send(WP_MAIL_ADD_CAMERA), 0) << "method " << method;
  }
  ASSERT_TRUE(WaitForSenders());
  Use(NOTIFICATION_SMTP, server.Port());
  EXPECT_EQ(sender.SendMail(WP_MAIL_TEST, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(server.Mails(1).size(), 1U);
}

TEST_F(Mail, TellsWhatFailedAndNeverHangs) {
  struct Case {
    const char* reply;
    FakeCamera::After after;
    const char* answer;
  };
  const Case cases[] = {
      {"554 go away\r\n", FakeCamera::After::kHold, "554 go away"},
      {"", FakeCamera::After::kClose, ""},
      {"", FakeCamera::After::kHold, "Timeout"},
      {"220 hello\r\n", FakeCamera::After::kHold, "Timeout"},
      {"\x7F\x01 rubbish\n\n\r\r\n", FakeCamera::After::kClose, ""},
  };
  static std::string answer;
  watchpost::MailOrder order;
  order.tag = "WP_TestMail";
  order.language = "../../etc";
  order.placeholders = nullptr;
  order.timeout = 1;
  order.error = [](const char* message) { answer = message; };
  for (const Case& at_hand : cases) {
    SCOPED_TRACE(at_hand.reply);
    const FakeCamera server({at_hand.reply}, at_hand.after, FakeCamera::First::kCamera);
    Configure("server=127.0.0.1\nemail=a@x.org\nport=" + std::to_string(server.Port()) + "\n");
    _tag_ORVA_MAIL_ mail{};
    ASSERT_EQ(ORVAMailGet(&mail), 0);
    answer.clear();
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(watchpost::DeliverMail(mail, order).failure, MailFailure::kNotSent);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
    EXPECT_NE(answer.find(at_hand.answer), std::string::npos) << answer;
    EXPECT_FALSE(answer.empty());
    ORVAMailFree(&mail);
  }
  _tag_ORVA_MAIL_ mail{};
  EXPECT_FALSE(watchpost::HasAddress(mail));
  Configure("server=127.0.0.1\nport=1\nemail=a@x.org\r\n");
  ASSERT_EQ(ORVAMailGet(&mail), 0);
  order.tag = "WP_NoSuchMail";
  EXPECT_EQ(watchpost::DeliverMail(mail, order).failure, MailFailure::kNoTemplate);
  order.tag = "WP_TestMail";
  const TempDir bare;  // of the library that is loaded the path is remembered
  const ScopedEnv env("ORVA_ROOT", bare.Path());
  EXPECT_EQ(watchpost::DeliverMail(mail, order).failure, MailFailure::kNoLibrary);
  WriteFile(bare / "lib/liborvasmtp.so", "rubbish");
  EXPECT_EQ(watchpost::DeliverMail(mail, order).failure, MailFailure::kNoLibrary);
  std::filesystem::remove(bare / "lib/liborvasmtp.so");
  std::filesystem::create_symlink("/lib/x86_64-linux-gnu/libpq.so.5", bare / "lib/liborvasmtp.so");
  EXPECT_EQ(watchpost::DeliverMail(mail, order).failure, MailFailure::kNoSymbol);
  EXPECT_EQ(Send(WP_MAIL_TEST), 0);
  ORVAMailFree(&mail);
}

// Threads that are in the log, the calendar, the allocator and the database at the moment of the
// fork must not leave a lock behind that stops the child.
TEST_F(Mail, LeavesNoProcessBehindWhenSentFromManyThreads) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "this sanitizer's allocator does not survive a fork beside other threads";
#endif
  Use(NOTIFICATION_SMTP, "1");
  std::atomic<bool> stop{false};
  std::vector<std::thread> busy;
  for (int i = 0; i < 3; ++i) {
    busy.emplace_back([&] {
      while (!stop) {
        const time_t now = time(nullptr);
        tm local{};
        (void)localtime_r(&now, &local);
        (void)Ask("SELECT 1 AS one", "one");
      }
    });
  }
  std::vector<std::thread> senders;
  std::atomic<int> failures{0};
  for (int i = 0; i < 3; ++i) {
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

}  // namespace
