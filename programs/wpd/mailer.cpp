#include "mailer.h"

#include <utility>

#include "log.h"

namespace wpd {
namespace {

constexpr std::size_t kMostWaiting = 64;

}  // namespace

void Mailer::Start() {
  thread_.Start([this] { Run(); });
}

void Mailer::Post(WP_MAIL_TYPE type, const Camera& camera, time_t when, const std::string& file) {
  {
    const std::lock_guard lock(mutex_);
    if (waiting_.size() >= kMostWaiting) return;
    waiting_.push_back({type, camera, when, file});
  }
  wake_.notify_one();
}

bool Mailer::Stop(std::chrono::milliseconds limit) {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  return thread_.Join(limit);
}

void Mailer::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return stop_ || !waiting_.empty(); });
    if (waiting_.empty()) break;
    Mail mail = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    if (WPMailSender().SendMail(mail.type, &mail.camera, &mail.when, mail.file.data()) != 0)
      Log("camera %d: a mail could not be sent: no process for it", mail.camera.GetId());
    lock.lock();
  }
}

}  // namespace wpd
