// Mails about camera events. Thread-safe; nobody waits for the mail server.
//
// A mail is sent by a process of its own, forked twice, which has three minutes. What goes wrong
// there is logged in the system log and in the appliance's event log.
#pragma once

#include <cstdint>

#include "base/export.h"
#include "camera/camera.h"
#include "platform/olibszhash.h"
#include "platform/orvamail.h"

enum WP_MAIL_TYPE : std::int32_t {
  WP_MAIL_TEST = 0,
  WP_MAIL_ADD_CAMERA = 1,
  WP_MAIL_DELETE_CAMERA = 2,
  WP_MAIL_MOTION_DETECTED = 3,
  WP_MAIL_ROTATION_LIMIT_REACHED = 4,
  WP_MAIL_CONNECTION_LOST = 5,
  WP_MAIL_CONNECTION_RESUMED = 6,
  WP_MAIL_RECORDING_FAILED = 7,
};

class WATCHPOST_API WPMailSender {
 public:
  /// Hands one mail about `camera`, which may be null for the test mail only, to a process that
  /// sends it. `eventTime` points to the time_t and `file` to the NUL-terminated path of a motion
  /// mail, which without either is not sent; other mails ignore them. Returns 0, also when there is
  /// nothing to send, and -1 when there is no camera or no process could be made. Of a process with
  /// many threads, a fork that has taken over a lock which another thread holds is given up after a
  /// quarter of a second and made again.
  int SendMail(WP_MAIL_TYPE type, Camera* camera, void* eventTime, void* file) noexcept;
};

/// Fills an empty record with the settings that mails are sent by, and writes them to standard
/// error, the password included: that must lead to /dev/null. Returns 0; otherwise no mail is to be
/// sent. The caller releases the texts with ORVAMailFree.
WATCHPOST_API int GetMailsetting(_tag_ORVA_MAIL_* mail) noexcept;

/// Composes the mail of a template's tag and sends it from a forked process, which becomes a child
/// of the caller's that it must wait for. Returns at once; an empty tag sends nothing.
WATCHPOST_API void MailSendEvent(const char* tag, OLIBSZHASH** placeholders) noexcept;

/// Logs in the event log and the system log that a mail could not be sent.
WATCHPOST_API void SMTPErrorCallBack(const char* message) noexcept;
