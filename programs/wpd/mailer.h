// Starts the processes that send mails, from a thread of its own: neither recording nor the main
// thread waits for one to be made. Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>
#include <watchpost/camera/camera.h>
#include <watchpost/notify/wpmail.h>

#include <chrono>
#include <ctime>
#include <deque>
#include <string>

#include "mailprocess.h"
#include "workerthread.h"

namespace wpd {

class Mailer : private WorkerThread::Delegate {
 public:
  void Start() { thread_.Start(); }

  /// Sends a mail about a camera soon. `when` and `file` are those of a motion mail. When very many
  /// wait, which takes a machine that can make no process, the mail is left out.
  void Post(WP_MAIL_TYPE type, const Camera& camera, time_t when = 0, const std::string& file = "");

  /// Hands over what waits and ends the thread; see WorkerThread::Stop.
  bool Stop(std::chrono::milliseconds limit) { return thread_.Stop(limit); }

 private:
  std::optional<WorkerThread::Clock::duration> DoWork() override;
  void AtEnd() override { (void)DoWork(); }  // there is no next time
  std::optional<MailOrder> Take();

  watchpost::Mutex mutex_;
  std::deque<MailOrder> waiting_ WATCHPOST_GUARDED_BY(mutex_);
  WorkerThread thread_{*this};
};

}  // namespace wpd
