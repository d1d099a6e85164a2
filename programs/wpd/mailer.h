// Hands mails to the library's sender from a thread of its own: neither recording nor the main
// thread waits for a process to be made. Thread-safe.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/notify/wpmail.h>

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <mutex>
#include <string>

#include "boundedthread.h"

namespace wpd {

class Mailer {
 public:
  Mailer() = default;
  Mailer(const Mailer&) = delete;
  Mailer& operator=(const Mailer&) = delete;

  /// The thread must have ended; see Stop.
  ~Mailer() = default;

  void Start();

  /// Sends a mail about a camera soon. `when` and `file` are those of a motion mail. When very many
  /// wait, which takes a machine that can make no process, the mail is left out.
  void Post(WP_MAIL_TYPE type, const Camera& camera, time_t when = 0, const std::string& file = "");

  /// Hands over what waits and ends the thread. False when that takes longer than `limit`: the
  /// process must then leave without running destructors.
  bool Stop(std::chrono::milliseconds limit);

 private:
  struct Mail {
    WP_MAIL_TYPE type;
    Camera camera;
    time_t when;
    std::string file;
  };

  void Run();

  std::mutex mutex_;  // guards all below
  std::condition_variable wake_;
  std::deque<Mail> waiting_;
  bool stop_ = false;
  BoundedThread thread_;
};

}  // namespace wpd
