// A mail is sent by a process that runs this program anew. One that was only forked off a daemon
// with many threads would keep the locks that they held, for ever, and could hang in any of them.
#pragma once

#include <watchpost/notify/wpmail.h>

#include <ctime>
#include <string>

namespace wpd {

struct MailOrder {
  WP_MAIL_TYPE type;
  std::string camera;  ///< its name
  time_t when;         ///< of a motion mail
  std::string file;    ///< of a motion mail
};

/// Starts the process and waits until it has handed the mail over to the one that sends it, which
/// takes some milliseconds. False when no process could be made for it.
bool SendInProcess(const MailOrder& order);

/// Whether this process was started to send a mail; `status` is then what it ends with.
bool RunAsMailProcess(int argc, char** argv, int& status);

}  // namespace wpd
