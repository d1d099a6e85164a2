// Mail settings, templates and requests of the appliance's mail library.
#pragma once

#include "base/export.h"
#include "platform/olibszhash.h"
#include "platform/orvasmtp.h"

extern "C" {

/// Where mails go and by which server. Each text is null or a copy of the record's own, which
/// ORVAMailFree releases.
struct _tag_ORVA_MAIL_ {
  char* server;
  int port;
  bool need_auth;
  char* user_name;
  char* password;
  bool ssl;
  bool send_test_mail;
  char* recipient;
  char* recipient2;
};

/// Fills an empty record from the section "mail" of "/etc/orvainfo.conf": server, port, auth, user,
/// password, ssl, email, email2. Switches are yes, true, on or 1. What is missing is empty, the
/// port 25. Returns 0, or -1 with the record untouched when there is no such section.
WATCHPOST_API int ORVAMailGet(_tag_ORVA_MAIL_* mail) noexcept;

/// Releases the texts of a record and clears it.
WATCHPOST_API void ORVAMailFree(_tag_ORVA_MAIL_* mail) noexcept;

/// Reads the template of `tag` in `language` and puts its subject and body into the buffers (sizes
/// in bytes, at least 1), cut between characters and NUL-terminated. "%NAME%" gives way to the
/// value of that key, a key without value stays. Templates are the files
/// "/usr/orva/share/mail/LANGUAGE/TAG": a line "Subject: ...", an empty line, the body. One that is
/// missing is taken in "enu", and then from the English ones compiled in. Returns 0, or -1 when
/// there is no template of that tag.
WATCHPOST_API int ORVAMailReadByTagAndConvert(const char* language,
                                              const char* tag,
                                              const OLIBSZHASH* values,
                                              char* subject,
                                              int subject_size,
                                              char* body,
                                              int body_size) noexcept;

/// Fills an empty request with server, login, sender and recipients. The sender's address is the
/// user name when that is an address, else "watchpost" at this host. How the server's certificate
/// is looked at follows tls_verify (default yes) and tls_ca_file of the section "mail". `flags` is
/// ignored. Returns 0, or -1 for a null argument.
WATCHPOST_API int ORVAMailFillSMTPStruct(ORVASMTP* smtp,
                                         const _tag_ORVA_MAIL_* mail,
                                         const char* sender_name,
                                         int flags) noexcept;

}  // extern "C"
