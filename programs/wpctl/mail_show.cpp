// wpctl mail show

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "cameras.h"
#include "commands.h"
#include "mailsettings.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

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

nlohmann::ordered_json ToJson(NOTIFICATIONMETHOD method, const MailSettings& mail) {
  nlohmann::ordered_json json{{"use", MethodName(method)}};
  if (method == NOTIFICATION_NONE) return json;
  json.update({{"server", TextOf(mail.server)},
               {"port", mail.port},
               {"tls", mail.ssl},
               {"login", mail.need_auth},
               {"user", TextOf(mail.user_name)},
               {"to", TextOf(mail.recipient)},
               {"to2", TextOf(mail.recipient2)}});
  return json;
}

int Show(const ShowAllOptions& options) {
  if (!RequireDatabase()) return kFailed;
  const Notification notification = ReadNotification();
  const NOTIFICATIONMETHOD method = notification.GetMethod();
  MailSettings mail;
  if (method != NOTIFICATION_NONE && !ReadSettings(notification, mail)) return kFailed;
  if (options.json) {
    PrintJson(ToJson(method, mail));
  } else if (method == NOTIFICATION_NONE) {
    std::printf("Mails are switched off; \"wpctl mail set --help\" says how to switch them on.\n");
  } else {
    PrintFields({
        {"Settings",
         method == NOTIFICATION_SMTP ? "its own"
                                     : "those of the appliance, section [mail] of orvainfo.conf"},
        {"Server",
         TextOf(mail.server) + ", port " + std::to_string(mail.port) +
             (mail.ssl ? ", encrypted" : ", not encrypted")},
        {"Login", mail.need_auth ? TextOf(mail.user_name) : "none"},
        {"To", Recipients(mail)},
    });
  }
  return kDone;
}

}  // namespace

void AddMailShow(Group& mail) {
  auto [verb, options] = mail.Add("show", "Show how mails go out", Show);
  AddJson(verb, options.json);
  AddExamples(verb, {"wpctl mail show"});
}

}  // namespace wpctl
