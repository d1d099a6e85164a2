// wpctl mail: by which server mails go out, to whom, and whether they arrive.

#include <watchpost/notify/notification.h>
#include <watchpost/notify/maildelivery.h>
#include <watchpost/base/paths.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cameras.h"
#include "commands.h"
#include "report.h"

namespace wpctl {
namespace {

using watchpost::MailFailure;

constexpr int kTestTimeout = 10;  // seconds
constexpr int kSmtpPort = 25;

struct Form {
  std::optional<std::string> use;
  std::optional<std::string> server;
  std::optional<int> port;
  std::optional<std::string> user;
  std::optional<std::string> password;
  std::optional<std::string> to;
  std::optional<std::string> to2;
  std::optional<bool> ssl;
};

// Settings with their texts.
struct Settings : _tag_ORVA_MAIL_ {
  Settings() : _tag_ORVA_MAIL_{} {}
  ~Settings() { ORVAMailFree(this); }
  Settings(const Settings&) = delete;
  Settings& operator=(const Settings&) = delete;
};

const char* MethodName(NOTIFICATIONMETHOD method) {
  switch (method) {
    case NOTIFICATION_NONE:
      return "none";
    case NOTIFICATION_SYSTEM_MAIL:
      return "system";
    case NOTIFICATION_SMTP:
      return "own";
  }
  return "unknown";
}

Notification ReadNotification() {
  Notification notification(NOTIFICATION_NONE, "", kSmtpPort, false, "", "", false, false, "", "");
  (void)notification.Reload();  // no row means no mails
  return notification;
}

// False, with an explanation, when mails are switched off or there is nothing to read.
bool ReadSettings(const Notification& notification, Settings& settings) {
  switch (notification.GetMethod()) {
    case NOTIFICATION_SYSTEM_MAIL:
      if (ORVAMailGet(&settings) == 0) return true;
      (void)Failed("there is no section [mail] in " + watchpost::ConfigurationFile());
      return false;
    case NOTIFICATION_SMTP:
      watchpost::FillMailSettings(notification, settings);
      return true;
    default:
      (void)Failed(
          "mails are switched off; \"wpctl mail set --server HOST --to ADDRESS\" switches them on");
      return false;
  }
}

std::string TextOf(const char* text) {
  return text == nullptr ? "" : text;
}

std::string Recipients(const _tag_ORVA_MAIL_& mail) {
  const std::string second = TextOf(mail.recipient2);
  return Printable(TextOf(mail.recipient) + (second.empty() ? "" : ", " + second));
}

int Show(bool as_json) {
  if (!RequireDatabase()) return kFailed;
  const Notification notification = ReadNotification();
  Settings mail;
  const bool off = notification.GetMethod() == NOTIFICATION_NONE;
  if (!off && !ReadSettings(notification, mail)) return kFailed;
  if (as_json) {
    nlohmann::ordered_json value{{"use", MethodName(notification.GetMethod())}};
    if (!off) {
      value.update({{"server", TextOf(mail.server)},
                    {"port", mail.port},
                    {"tls", mail.ssl},
                    {"login", mail.need_auth},
                    {"user", TextOf(mail.user_name)},
                    {"to", TextOf(mail.recipient)},
                    {"to2", TextOf(mail.recipient2)}});
    }
    PrintJson(value);
    return kDone;
  }
  if (off) {
    std::printf("Mails are switched off; wpctl mail set --help tells how to switch them on.\n");
    return kDone;
  }
  std::printf("Settings  %s\n",
              notification.GetMethod() == NOTIFICATION_SMTP
                  ? "its own"
                  : "those of the appliance, section [mail] of orvainfo.conf");
  std::printf("Server    %s, port %d, %s\n",
              Printable(TextOf(mail.server)).c_str(),
              mail.port,
              mail.ssl ? "encrypted" : "not encrypted");
  std::printf("Login     %s\n",
              mail.need_auth ? Printable(TextOf(mail.user_name)).c_str() : "none");
  std::printf("To        %s\n", Recipients(mail).c_str());
  return kDone;
}

bool HasControls(const std::string& text) {
  return Printable(text) != text;
}

std::string CheckForm(const Form& form) {
  for (const auto& address : {form.to, form.to2}) {
    const bool none = !address || address->empty();
    if (!none && (address->find('@') == std::string::npos || HasControls(*address) ||
                  address->find_first_of(" <>,") != std::string::npos || address->size() > 512)) {
      return "an address is NAME@HOST, 512 bytes at most";
    }
  }
  if (form.server &&
      (form.server->empty() || form.server->size() > 256 ||
       form.server->find_first_of(" /@:") != std::string::npos || HasControls(*form.server))) {
    return "a server is a host's name or IPv4 address, 256 bytes at most; its port is --port";
  }
  for (const auto& text : {form.user, form.password}) {
    if (text && (text->size() > 128 || HasControls(*text)))
      return "a user name and a password have 128 bytes at most and no control characters";
  }
  return "";
}

void FillIn(const Form& form, Notification& notification) {
  const bool own =
      form.server || form.port || form.user || form.password || form.to || form.to2 || form.ssl;
  if (own) notification.SetMethod(NOTIFICATION_SMTP);
  if (form.use) {
    notification.SetMethod(*form.use == "none"     ? NOTIFICATION_NONE
                           : *form.use == "system" ? NOTIFICATION_SYSTEM_MAIL
                                                   : NOTIFICATION_SMTP);
  }
  if (form.server) notification.SetServer(*form.server);
  if (form.port) notification.SetPort(*form.port);
  if (form.user) notification.SetUserName(*form.user);
  if (form.user) notification.SetAuth(!form.user->empty());
  if (form.password) notification.SetPassword(*form.password);
  if (form.to) notification.SetEmailAddr(*form.to);
  if (form.to2) notification.SetEmailAddr2(*form.to2);
  if (form.ssl) notification.SetSSL(*form.ssl);
}

int Set(Form form) {
  if (form.password == "-") {
    std::string line;
    if (!std::getline(std::cin, line)) return WrongUsage("there is no password on standard input");
    form.password = line;
  }
  if (const std::string error = CheckForm(form); !error.empty()) return WrongUsage(error);
  if (!RequireDatabase()) return kFailed;
  Notification notification = ReadNotification();
  FillIn(form, notification);
  if (notification.GetMethod() == NOTIFICATION_SMTP &&
      (notification.GetServer().empty() || notification.GetEmailAddr().empty())) {
    return WrongUsage("give the server, --server HOST, and who is to read the mails, --to ADDRESS");
  }
  if (notification.GetMethod() == NOTIFICATION_SMTP && notification.GetPort() < 1)
    notification.SetPort(kSmtpPort);
  Settings appliance;
  if (notification.GetMethod() == NOTIFICATION_SYSTEM_MAIL &&
      !ReadSettings(notification, appliance))
    return kFailed;
  if (notification.Save() != 0) return Failed("the database did not take the settings");
  if (notification.GetMethod() == NOTIFICATION_NONE) {
    std::printf("Mails are switched off.\n");
  } else {
    std::printf("Mails are switched on; \"wpctl mail test\" sends one.\n");
  }
  return kDone;
}

// What the server said; filled by the callback, which is told nothing but the text.
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
  Settings mail;
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
              Recipients(mail).c_str());
  return kDone;
}

void AddSet(CLI::App& group, int& status) {
  CLI::App* verb = group.add_subcommand("set", "Change how mails go out; what is not given stays");
  const auto form = std::make_shared<Form>();
  verb->add_option("--use", form->use, "none, system (the appliance's settings) or own")
      ->check(CLI::IsMember({"none", "system", "own"}));
  verb->add_option("--server", form->server, "Host of the mail server");
  verb->add_option("--port", form->port, "Its port; 25 without")->check(CLI::Range(1, 65535));
  verb->add_option("--user", form->user, "User name to log in with; empty for no login");
  verb->add_option(
      "--password", form->password, "Its password; - reads a line from standard input");
  verb->add_option("--to", form->to, "Who reads the mails");
  verb->add_option("--to2", form->to2, "A second reader; empty for none");
  verb->add_option("--tls", form->ssl, "yes or no: ports 25 and 587 speak STARTTLS, others TLS")
      ->transform(CLI::CheckedTransformer(
          std::map<std::string, std::string>{{"yes", "true"}, {"no", "false"}}));
  verb->footer(
      "Examples:\n"
      "  wpctl mail set --server mail.example.org --port 465 --tls yes --user me@example.org "
      "--password - --to me@example.org\n"
      "  wpctl mail set --use none");
  verb->callback([&status, form] { status = Set(*form); });
}

}  // namespace

void AddMailCommands(CLI::App& app, int& status) {
  CLI::App* group = app.add_subcommand("mail", "Mails about cameras")->require_subcommand(1);
  const auto as_json = std::make_shared<bool>(false);
  CLI::App* show = group->add_subcommand("show", "Show how mails go out");
  show->add_flag("--json", *as_json, "For scripts");
  show->footer("Examples:\n  wpctl mail show");
  show->callback([&status, as_json] { status = Show(*as_json); });
  AddSet(*group, status);
  CLI::App* test =
      group->add_subcommand("test", "Send a test mail and say what the server answered");
  test->footer("Examples:\n  wpctl mail test");
  test->callback([&status] { status = Test(); });
}

}  // namespace wpctl
