// By which server mails go out, and to whom.
#pragma once

#include <watchpost/notify/notification.h>
#include <watchpost/platform/orvamail.h>

#include <string>

namespace wpctl {

inline constexpr int kSmtpPort = 25;

/// Settings, which own their texts.
struct MailSettings : _tag_ORVA_MAIL_ {
  MailSettings() : _tag_ORVA_MAIL_{} {}
  ~MailSettings() { ORVAMailFree(this); }
  MailSettings(const MailSettings&) = delete;
  MailSettings& operator=(const MailSettings&) = delete;
};

/// What is stored; mails are off in it when nothing is.
Notification ReadNotification();

/// False, with an explanation, when mails are switched off or there is nothing to read.
bool ReadSettings(const Notification& notification, MailSettings& settings);

/// A text of the settings, empty for null.
std::string TextOf(const char* text);

/// The addresses that mails go to.
std::string Recipients(const _tag_ORVA_MAIL_& mail);

}  // namespace wpctl
