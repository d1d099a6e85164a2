#include "mailsettings.h"

#include <watchpost/base/paths.h>
#include <watchpost/notify/maildelivery.h>

#include "report.h"

namespace wpctl {

Notification ReadNotification() {
  Notification notification(NOTIFICATION_NONE, "", kSmtpPort, false, "", "", false, false, "", "");
  (void)notification.Reload();  // no row means no mails
  return notification;
}

bool ReadSettings(const Notification& notification, MailSettings& settings) {
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
  return TextOf(mail.recipient) + (second.empty() ? "" : ", " + second);
}

}  // namespace wpctl
