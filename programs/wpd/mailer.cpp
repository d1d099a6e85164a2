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
    waiting_.push_back({type, camera.GetName(), when, file});
  }
  thread_.Wake();
}

std::optional<MailOrder> Mailer::Take() {
  const MutexLock lock(mutex_);
  if (waiting_.empty()) return std::nullopt;
  MailOrder mail = std::move(waiting_.front());
  waiting_.pop_front();
  return mail;
}

std::optional<WorkerThread::Clock::duration> Mailer::DoWork() {
  while (const std::optional<MailOrder> mail = Take()) {
    if (!SendInProcess(*mail)) Log("a mail could not be sent: no process for it");
  }
  return std::nullopt;
}

}  // namespace wpd
