// wpctl mail test

#include <watchpost/notify/maildelivery.h>

#include <cstdio>
#include <string>

#include "cameras.h"
#include "commands.h"
#include "mailsettings.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

using watchpost::MailFailure;

constexpr int kTestTimeout = 10;  // seconds

// What the server answered: the callback that fills it gets nothing but the text.
std::string& Answer() {
  static std::string answer;
  return answer;
}

void KeepAnswer(const char* message) {
  Answer() = message;
}

std::string Explain(const watchpost::MailResult& result) {
  switch (result.failure) {
    case MailFailure::kNoTemplate:
      return "there is no template WP_TestMail";
    case MailFailure::kNoLibrary:
      return "the SMTP library cannot be loaded: " + result.detail;
    case MailFailure::kNoSymbol:
      return "the SMTP library is not the right one: " + result.detail;
    case MailFailure::kNotSent:
      return "the mail was not taken: " + Printable(Answer());
    default:
      return "the mail could not be put together";
  }
}

int Test() {
  if (!RequireDatabase()) return kFailed;
  MailSettings mail;
  if (!ReadSettings(ReadNotification(), mail)) return kFailed;
  if (!watchpost::HasAddress(mail))
    return Failed("there is no server, or nobody to read the mail; wpctl mail show");
  watchpost::MailOrder order;
  order.tag = "WP_TestMail";
  order.placeholders = nullptr;
  order.timeout = kTestTimeout;
  order.error = KeepAnswer;
  (void)watchpost::ReadMailLanguage(order.language);  // "enu" without one
  const watchpost::MailResult result = watchpost::DeliverMail(mail, order);
  if (result.failure != MailFailure::kNone) return Failed(Explain(result));
  std::printf("%s, port %d, took the mail to %s.\n",
              Printable(TextOf(mail.server)).c_str(),
              mail.port,
              Printable(Recipients(mail)).c_str());
  return kDone;
}

}  // namespace

void AddMailTest(Group& mail) {
  const Command verb = mail.Add("test", "Send a test mail and say what the server answered", Test);
  AddExamples(verb, {"wpctl mail test"});
}

}  // namespace wpctl
