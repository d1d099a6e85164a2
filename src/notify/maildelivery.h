// Sending one mail in the calling process. Thread-safe. Logs nothing: the caller reports what
// failed.
#pragma once

#include <string>

#include "base/export.h"
#include "notify/notification.h"
#include "platform/olibszhash.h"
#include "platform/orvamail.h"

namespace watchpost {

/// The step at which a mail failed.
enum class MailFailure {
  kNone,
  kNoTemplate,   ///< of that tag
  kNoRequest,    ///< it could not be filled
  kNoRecipient,  ///< in the request
  kNoSender,     ///< in the request
  kNoLibrary,    ///< `detail` says why
  kNoSymbol,     ///< `detail` says which
  kNotEncoded,   ///< the subject
  kNotSent,      ///< the callback got the reason
};

struct MailResult {
  MailFailure failure = MailFailure::kNone;
  std::string detail;
};

struct MailOrder {
  std::string tag;                         ///< of the template
  std::string language;                    ///< "enu", ...
  const OLIBSZHASH* placeholders;          ///< null for none
  int timeout = 60;                        ///< seconds, for the talk with the server
  ORVASMTPErrorCallBack* error = nullptr;  ///< gets what the server said when it refused
};

/// The language of mails, the key "maillang" of "/etc/orvainfo.conf". False, with "enu", when it is
/// missing.
WATCHPOST_API bool ReadMailLanguage(std::string& language);

/// Copies the record's own server, login and addresses; the caller frees with ORVAMailFree.
WATCHPOST_API void FillMailSettings(const Notification& notification, _tag_ORVA_MAIL_& mail);

/// Whether there is a server and a first recipient.
WATCHPOST_API bool HasAddress(const _tag_ORVA_MAIL_& mail);

/// Composes a mail and hands it to the server through "/lib/liborvasmtp.so". Blocks until that has
/// answered.
WATCHPOST_API MailResult DeliverMail(const _tag_ORVA_MAIL_& mail, const MailOrder& order);

}  // namespace watchpost
