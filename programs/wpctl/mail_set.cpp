// wpctl mail set

#include <cstdio>
#include <iostream>
#include <map>
#include <optional>
#include <string>

#include "cameras.h"
#include "commands.h"
#include "mailsettings.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Form {
  std::optional<std::string> use;
  std::optional<std::string> server;
  std::optional<int> port;
  std::optional<std::string> user;
  std::optional<std::string> password;
  std::optional<std::string> to;
  std::optional<std::string> to2;
  std::optional<std::string> tls;
};

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
      form.server || form.port || form.user || form.password || form.to || form.to2 || form.tls;
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
  if (form.tls) notification.SetSSL(*form.tls == "yes");
}

int Set(const Form& given) {
  Form form = given;
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
  MailSettings appliance;
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

}  // namespace

void AddMailSet(Group& mail) {
  auto [verb, form] = mail.Add("set", "Change how mails go out; what is not given stays", Set);
  verb.Add("--use", form.use, "none, system (the appliance's settings) or own")
      .OneOf({"none", "system", "own"});
  verb.Add("--server", form.server, "Host of the mail server");
  verb.Add("--port", form.port, "Its port; 25 without").Between(1, 65535);
  verb.Add("--user", form.user, "User name to log in with; empty for no login");
  verb.Add("--password", form.password, "Its password; - reads a line from standard input");
  verb.Add("--to", form.to, "Who reads the mails");
  verb.Add("--to2", form.to2, "A second reader; empty for none");
  verb.Add("--tls", form.tls, "yes or no: ports 25 and 587 speak STARTTLS, others TLS")
      .OneOf({"yes", "no"});
  AddExamples(verb,
              {"wpctl mail set --server mail.example.org --port 465 --tls yes --user "
               "me@example.org --password - --to me@example.org",
               "wpctl mail set --use none"});
}

}  // namespace wpctl
