#include "mailer.h"

#include <utility>

#include "log.h"

namespace wpd {
namespace {

using watchpost::MutexLock;

constexpr std::size_t kMostWaiting = 64;

}  // namespace

void Mailer::Post(WP_MAIL_TYPE type, const Camera& camera, time_t when, const std::string& file) {
  {
    const MutexLock lock(mutex_);
    if (waiting_.size() >= kMostWaiting) return;
    waiting_.push_back({type, camera, when, file});
  }
  thread_.Wake();
}

std::optional<Mailer::Mail> Mailer::Take() {
  const MutexLock lock(mutex_);
  if (waiting_.empty()) return std::nullopt;
  Mail mail = std::move(waiting_.front());
  waiting_.pop_front();
  return mail;
}

std::optional<WorkerThread::Clock::duration> Mailer::DoWork() {
  while (std::optional<Mail> mail = Take()) {
    if (WPMailSender().SendMail(mail->type, &mail->camera, &mail->when, mail->file.data()) != 0)
      Log("camera %d: a mail could not be sent: no process for it", mail->camera.GetId());
  }
  return std::nullopt;
}

}  // namespace wpd
