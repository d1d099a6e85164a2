// The interface of the SMTP library, "/lib/liborvasmtp.so", which is loaded when a mail goes out.
// Its functions are named there as here, without a header's declaration: whoever sends looks them
// up.
#pragma once

#include <cstdlib>
#include <initializer_list>

extern "C" {

/// One mail and the server that takes it. Texts are null or allocated with malloc; the request owns
/// them.
struct ORVASMTP {
  char* server;
  int port;
  bool need_auth;
  char* user_name;
  char* password;
  bool ssl;         ///< TLS is a must: from the first byte, or by STARTTLS
  bool verify;      ///< the certificate must be valid for the server's name
  char* ca_file;    ///< certificates to trust in place of the system's; null or empty for these
  char* from_name;  ///< shown beside the address
  char* from;       ///< an address
  char* to;
  char* to2;
  char* subject;       ///< as it stands in the header, ASCII
  char* body;          ///< lines end in "\n"
  char* extra_header;  ///< whole lines, each with "\n" at its end
  int timeout;         ///< seconds for all of it
};

/// Called with one line about what went wrong, before the sending operation returns.
using ORVASMTPErrorCallBack = void(const char* message);

/// "ORVASMTPSendEmail": hands the mail to the server. Returns 0; otherwise the callback was called.
/// Blocks for `timeout` seconds at most.
using ORVASMTPSendEmailFunction = int(ORVASMTP* smtp, ORVASMTPErrorCallBack* callback);

/// "ORVASMTPFreeORVASMTP": releases the texts of a request and clears it.
using ORVASMTPFreeORVASMTPFunction = void(ORVASMTP* smtp);

/// "SzBase64Encode": Base64 without line breaks of `length` bytes; freed with free. Null when
/// memory runs out or the arguments make no sense.
using SzBase64EncodeFunction = char*(const char* text, int length);

}  // extern "C"

namespace watchpost {

/// What "ORVASMTPFreeORVASMTP" does, for a request that never came so far as the library.
inline void ReleaseRequest(ORVASMTP& smtp) noexcept {
  for (char* text : {smtp.server,
                     smtp.user_name,
                     smtp.password,
                     smtp.ca_file,
                     smtp.from_name,
                     smtp.from,
                     smtp.to,
                     smtp.to2,
                     smtp.subject,
                     smtp.body,
                     smtp.extra_header}) {
    std::free(text);
  }
  smtp = {};
}

}  // namespace watchpost
