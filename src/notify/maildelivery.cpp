#include "notify/maildelivery.h"

#include <dlfcn.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

#include "base/paths.h"
#include "platform/olibfile.h"

namespace watchpost {
namespace {

constexpr char kTitle[] = "Orvantis Watchpost";
constexpr char kDefaultLanguage[] = "enu";
constexpr char kExtraHeader[] =
    "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n";
constexpr int kSubjectSize = 512;
constexpr int kBodySize = 4096;

struct FreeDeleter {
  void operator()(char* text) const { std::free(text); }
};

// The loaded library; lets go of it at the end.
class SmtpLibrary {
 public:
  SmtpLibrary() = default;
  ~SmtpLibrary() {
    if (handle_ != nullptr) (void)dlclose(handle_);  // nothing of it is in use any more
  }
  SmtpLibrary(const SmtpLibrary&) = delete;
  SmtpLibrary& operator=(const SmtpLibrary&) = delete;

  MailResult Load() {
    handle_ = dlopen(RootedPath("/lib/liborvasmtp.so").c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (handle_ == nullptr) return {MailFailure::kNoLibrary, Reason()};
    if (Find("ORVASMTPSendEmail", send) && Find("ORVASMTPFreeORVASMTP", release) &&
        Find("SzBase64Encode", encode)) {
      return {};
    }
    return {MailFailure::kNoSymbol, Reason()};
  }

  ORVASMTPSendEmailFunction* send = nullptr;
  ORVASMTPFreeORVASMTPFunction* release = nullptr;
  SzBase64EncodeFunction* encode = nullptr;

 private:
  static std::string Reason() {
    const char* reason = dlerror();
    return reason == nullptr ? "" : reason;
  }

  template <typename Function>
  bool Find(const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(handle_, name));
    return function != nullptr;
  }

  void* handle_ = nullptr;
};

// A request and its texts.
struct Request : ORVASMTP {
  Request() : ORVASMTP{} {}
  ~Request() { ReleaseRequest(*this); }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
};

bool IsEmpty(const char* text) {
  return text == nullptr || *text == '\0';
}

// The host's short name and what sends from it.
std::string SenderName() {
  std::array<char, 256> host{};
  (void)gethostname(host.data(), host.size() - 1);  // without a name, none is shown
  host[strcspn(host.data(), " .\t")] = '\0';
  std::string name = std::string(host.data()) + " - " + kTitle;
  name.resize(std::min<std::size_t>(name.size(), 127));
  return name;
}

MailResult EncodeSubject(const SmtpLibrary& library, const std::string& subject, ORVASMTP& smtp) {
  const std::unique_ptr<char, FreeDeleter> encoded(
      library.encode(subject.c_str(), static_cast<int>(subject.size())));
  if (encoded == nullptr) return {MailFailure::kNotEncoded, ""};
  std::string text = std::string("=?UTF-8?B?") + encoded.get() + "?=";
  text.resize(std::min<std::size_t>(text.size(), kSubjectSize - 1));
  smtp.subject = strdup(text.c_str());
  return {};
}

MailResult FillAndSend(const _tag_ORVA_MAIL_& mail,
                       const MailOrder& order,
                       const std::string& subject,
                       const char* body) {
  Request smtp;
  if (ORVAMailFillSMTPStruct(&smtp, &mail, SenderName().c_str(), 0) != 0)
    return {MailFailure::kNoRequest, ""};
  if (IsEmpty(smtp.to)) return {MailFailure::kNoRecipient, ""};
  if (IsEmpty(smtp.from)) return {MailFailure::kNoSender, ""};
  SmtpLibrary library;
  MailResult result = library.Load();
  if (result.failure == MailFailure::kNone) result = EncodeSubject(library, subject, smtp);
  if (result.failure != MailFailure::kNone) return result;
  smtp.body = strdup(body);
  smtp.extra_header = strdup(kExtraHeader);
  smtp.timeout = order.timeout;
  if (library.send(&smtp, order.error) != 0) result.failure = MailFailure::kNotSent;
  library.release(&smtp);
  static_cast<ORVASMTP&>(smtp) = {};  // its texts are gone, whatever the library left in place
  return result;
}

}  // namespace

bool ReadMailLanguage(std::string& language) {
  std::array<char, 32> text{};
  const int length = OLIBFileGetKeyValue(
      ConfigurationFile().c_str(), "maillang", text.data(), static_cast<int>(text.size()), 0);
  language = length > 0 ? text.data() : kDefaultLanguage;
  return length > 0;
}

void FillMailSettings(const Notification& notification, _tag_ORVA_MAIL_& mail) {
  mail.server = strdup(notification.GetServer().c_str());
  mail.port = notification.GetPort();
  mail.need_auth = notification.NeedAuth();
  mail.user_name = strdup(notification.GetUserName().c_str());
  mail.password = strdup(notification.GetPassword().c_str());
  mail.ssl = notification.GetSSL();
  mail.send_test_mail = notification.GetSendTestMail();
  mail.recipient = strdup(notification.GetEmailAddr().c_str());
  mail.recipient2 = strdup(notification.GetEmailAddr2().c_str());
}

bool HasAddress(const _tag_ORVA_MAIL_& mail) {
  return !IsEmpty(mail.server) && !IsEmpty(mail.recipient);
}

MailResult DeliverMail(const _tag_ORVA_MAIL_& mail, const MailOrder& order) {
  std::array<char, kSubjectSize> subject{};
  std::array<char, kBodySize> body{};
  if (ORVAMailReadByTagAndConvert(order.language.c_str(),
                                  order.tag.c_str(),
                                  order.placeholders,
                                  subject.data(),
                                  static_cast<int>(subject.size()),
                                  body.data(),
                                  static_cast<int>(body.size())) != 0) {
    return {MailFailure::kNoTemplate, ""};
  }
  return FillAndSend(mail, order, subject.data(), body.data());
}

}  // namespace watchpost
