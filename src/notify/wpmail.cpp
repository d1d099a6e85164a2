#include "notify/wpmail.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "notify/maildelivery.h"
#include "platform/olibfile.h"
#include "platform/orvalog.h"

// The two ways in which this module speaks; the messages are literals.
#define MAIL_PRINT(message, ...)                                                          \
  do {                                                                                    \
    (void)std::fflush(stderr);                                                            \
    (void)std::fprintf(stderr, message, kLogSource, __LINE__ __VA_OPT__(, ) __VA_ARGS__); \
  } while (false)
#define MAIL_LOG(message, ...) \
  syslog(LOG_ERR, "%s (%d) " message, kLogSource, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

namespace {

using watchpost::MailFailure;
using watchpost::MailResult;

constexpr char kLogSource[] = "wpmail";
constexpr int kHashSize = 512;
// Waiting longer than every limit on the way together means that something hangs for good.
constexpr unsigned int kLongestLife = 180;
constexpr suseconds_t kLongestProof = 250000;
constexpr int kMostForks = 8;

constexpr int kEventLog = 8;
constexpr int kEventLevel = 3;
constexpr unsigned int kMailFailed = 0x11100800;

constexpr char kTags[][128] = {
    "WP_TestMail",
    "WP_AddCamera",
    "WP_DeleteCamera",
    "WP_MotionDetected",
    "WP_RotationLimitReached",
    "WP_CameraConnectionLost",
    "WP_CameraConnectionResumed",
    "WP_CameraRecordingFailed",
};

std::string EventTime(const void* time) {
  time_t moment = 0;
  std::memcpy(&moment, time, sizeof moment);
  std::array<char, 64> text{};
  if (ctime_r(&moment, text.data()) == nullptr) return "";
  text[strcspn(text.data(), "\n")] = '\0';
  return text.data();
}

// The template's tag, with the placeholders filled that it needs; empty when there is nothing to
// send.
const char* SelectTag(
    WP_MAIL_TYPE type, Camera* camera, const void* time, const char* file, OLIBSZHASH** hash) {
  if (type < WP_MAIL_TEST || type > WP_MAIL_RECORDING_FAILED) return "";
  if (type == WP_MAIL_MOTION_DETECTED) {
    if (time == nullptr || file == nullptr) return "";
    (void)OLIBSzHashSetValue(hash, "%EVENT_TIME%", EventTime(time).c_str());
    (void)OLIBSzHashSetValue(hash, "%FILE%", file);
  }
  if (type != WP_MAIL_TEST)
    (void)OLIBSzHashSetValue(hash, "%CAMERA%", camera->GetName().c_str());  // none is null
  return kTags[type];
}

void LetAlarmEnd() {
  (void)signal(SIGALRM, SIG_DFL);
  sigset_t signals;
  (void)sigemptyset(&signals);
  (void)pthread_sigmask(SIG_SETMASK, &signals, nullptr);
}

// Locks on files, and connections, belong to whoever forked: they must not outlast it.
void DropDescriptors() {
  (void)close_range(STDERR_FILENO + 1, ~0U, 0);  // cannot fail with these arguments
}

// Of a process with many threads, a fork takes over the C library's locks as they are: one that
// another thread holds is never released. Goes through those that sending will take, and is ended
// by the timer when it hangs at one.
void ProveLocks() {
  DropDescriptors();
  LetAlarmEnd();
  itimerval limit{};
  limit.it_value.tv_usec = kLongestProof;
  (void)setitimer(ITIMER_REAL, &limit, nullptr);
  const time_t now = time(nullptr);
  tm local{};
  (void)localtime_r(&now, &local);
  closelog();  // its descriptor is gone, or another file's by now
  for (std::size_t size = 8; size <= 1U << 20; size *= 2) {
    void* volatile memory = std::malloc(size);
    std::free(memory);
  }
  // libpq proves with these who it is.
  unsigned char bytes[EVP_MAX_MD_SIZE];
  unsigned int length = sizeof bytes;
  (void)RAND_status();
  (void)RAND_bytes(bytes, sizeof bytes);
  (void)HMAC(EVP_sha256(), bytes, sizeof bytes, bytes, 1, bytes, &length);
  limit = {};
  (void)setitimer(ITIMER_REAL, &limit, nullptr);
}

// The process that sends belongs to nobody, keeps nothing of its parent's, and ends in time
// whatever the parent has done with its signals.
void BecomeDetached() {
  (void)setsid();  // a child leads no group: cannot fail
  LetAlarmEnd();
  (void)alarm(kLongestLife);
  ErrOLIBFileCloseLock();
  closelog();
  DropDescriptors();
  const int null = open("/dev/null", O_RDWR);
  for (int fd = 0; fd <= STDERR_FILENO && null >= 0; ++fd) (void)dup2(null, fd);
  if (null > STDERR_FILENO) (void)close(null);
}

// Waits for the child; whether the timer ended it. One that is reaped by a caller that waits for
// every child has done its work as far as anybody knows.
bool HasHung(pid_t child) {
  int status = 0;
  pid_t ended = 0;
  do {
    ended = waitpid(child, &status, 0);
  } while (ended < 0 && errno == EINTR);
  return ended == child && WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
}

void PrintSettings(const _tag_ORVA_MAIL_& mail) {
  MAIL_PRINT("[MSG]%s:%d:Mail setting : \n");
  MAIL_PRINT("[MSG]%s:%d:Server : %s\n", mail.server);
  MAIL_PRINT("[MSG]%s:%d:User : %s\n", mail.user_name);
  MAIL_PRINT("[MSG]%s:%d:Password : %s\n", mail.password);
  MAIL_PRINT("[MSG]%s:%d:Mail Add : %s\n", mail.recipient);
  MAIL_PRINT("[MSG]%s:%d:Auth : %d\n\n", mail.need_auth ? 1 : 0);
}

void Report(const MailResult& result) {
  const char* detail = result.detail.c_str();
  switch (result.failure) {
    case MailFailure::kNone:
      break;
    case MailFailure::kNoTemplate:
      MAIL_PRINT("[debug]%s:%d:Failed to read default email content.\n");
      break;
    case MailFailure::kNoRequest:
      MAIL_PRINT("[debug]%s:%d:Failed to fill SMTP struct.\n");
      break;
    case MailFailure::kNoRecipient:
      MAIL_LOG("There is no to email.");
      break;
    case MailFailure::kNoSender:
      MAIL_LOG("There is no from email.");
      break;
    case MailFailure::kNoLibrary:
      MAIL_LOG("dlopen failed. (%s)\n", detail);
      break;
    case MailFailure::kNoSymbol:
      MAIL_LOG("dlsym failed. (%s)\n", detail);
      break;
    case MailFailure::kNotEncoded:
      MAIL_PRINT("[debug]%s:%d:Failed to do base64 encode on subject.\n");
      break;
    case MailFailure::kNotSent:
      MAIL_PRINT("[debug]%s:%d:Failed to send mail.\n");
      break;
  }
}

// What the process that sends does.
void Send(const char* tag, const OLIBSZHASH* placeholders) {
  _tag_ORVA_MAIL_ mail{};
  if (GetMailsetting(&mail) != 0) {
    MAIL_PRINT("[debug]%s:%d:Failed to get mail setting.\n");
    return;
  }
  if (!watchpost::HasAddress(mail)) return;
  watchpost::MailOrder order;
  order.tag = tag;
  order.placeholders = placeholders;
  order.error = SMTPErrorCallBack;
  if (!watchpost::ReadMailLanguage(order.language))
    MAIL_LOG("Failed to get maillang, use enu instead.");
  Report(watchpost::DeliverMail(mail, order));
  ORVAMailFree(&mail);
}

}  // namespace

int WPMailSender::SendMail(WP_MAIL_TYPE type,
                           Camera* camera,
                           void* eventTime,
                           void* file) noexcept {
  if (camera == nullptr && type != WP_MAIL_TEST) return -1;
  const watchpost::OlibHashPtr placeholders(PshOLIBSzHashAlloc(kHashSize));
  OLIBSZHASH* hash = placeholders.get();
  if (hash == nullptr) return -1;
  const char* tag = SelectTag(type, camera, eventTime, static_cast<const char*>(file), &hash);
  if (*tag == '\0') return 0;
  for (int tries = 0; tries < kMostForks; ++tries) {
    const pid_t child = fork();
    if (child < 0) return -1;
    if (child == 0) {
      ProveLocks();
      MailSendEvent(tag, &hash);
      _exit(0);
    }
    if (!HasHung(child)) return 0;
  }
  return -1;
}

void MailSendEvent(const char* tag, OLIBSZHASH** placeholders) noexcept {
  if (tag == nullptr || *tag == '\0') return;
  const pid_t sender = fork();
  if (sender < 0) MAIL_LOG("Failed to fork().");
  if (sender != 0) return;
  BecomeDetached();
  Send(tag, placeholders == nullptr ? nullptr : *placeholders);
  _exit(0);
}

void SMTPErrorCallBack(const char* message) noexcept {
  const char* text = message == nullptr ? "" : message;
  (void)ORVALogSet1(kEventLog, kEventLevel, kMailFailed, text, "", "", "");  // as far as it goes
  MAIL_LOG("Failed to send email. (%s)", text);
}

int GetMailsetting(_tag_ORVA_MAIL_* mail) noexcept {
  if (mail == nullptr) return -1;
  Notification notification(NOTIFICATION_NONE, "", 0, false, "", "", false, false, "", "");
  (void)notification.Reload();  // what cannot be read sends no mail
  switch (notification.GetMethod()) {
    case NOTIFICATION_NONE:
      MAIL_PRINT("[MSG]%s:%d:Don't need to send mail.\n");
      return -1;
    case NOTIFICATION_SYSTEM_MAIL:
      if (ORVAMailGet(mail) != 0) return -1;
      break;
    case NOTIFICATION_SMTP:
      watchpost::FillMailSettings(notification, *mail);
      break;
    default:
      MAIL_PRINT("[debug]%s:%d:Bad parameters (NOTIFICATIONMETHOD).\n");
      return -1;
  }
  PrintSettings(*mail);
  return 0;
}
