#include "event/wprotate.h"

#include <time.h>

#include <cstdint>
#include <string>

#include "base/diagnostics_internal.h"
#include "base/utils.h"
#include "event/removal.h"
#include "event/wplog.h"
#include "notify/wpmail.h"

namespace {

constexpr char kLogSource[] = "wprotate";
constexpr int kBatch = 1000;
constexpr double kBytesPerMB = 1048576.0;

// Holds a WPMutex for a scope.
class ScopedLock {
 public:
  explicit ScopedLock(WPMutex& mutex) : mutex_(mutex) { (void)mutex_.Lock(); }
  ~ScopedLock() { (void)mutex_.UnLock(); }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

 private:
  WPMutex& mutex_;
};

}  // namespace

WPRotate::WPRotate(Camera* camera) noexcept
    : camera_(camera), camera_id_(camera == nullptr ? -1 : camera->GetId()) {}

WPRotate::~WPRotate() {
  (void)Stop();  // there may be no run
}

bool WPRotate::IsRotateStarted() noexcept {
  const ScopedLock lock(status_mutex_);
  return started_;
}

void WPRotate::SetRotateStatus(bool started) noexcept {
  const ScopedLock lock(status_mutex_);
  started_ = started;
}

bool WPRotate::CheckBreakPoint() noexcept {
  return !IsRotateStarted();
}

bool WPRotate::StartDoRotate() noexcept {
  has_thread_ = pthread_create(&thread_, nullptr, Runner, this) == 0;
  return has_thread_;
}

bool WPRotate::WaitDoRotate() noexcept {
  if (!has_thread_) return false;
  has_thread_ = false;
  return pthread_join(thread_, nullptr) == 0;
}

int WPRotate::Start(int sizeLimitMB, int daysLimit) noexcept {
  const ScopedLock lock(control_mutex_);
  if ((sizeLimitMB <= 0 && daysLimit <= 0) || camera_ == nullptr || camera_id_ <= 0)
    return WP_ROTATE_ERR_NOTHING;
  if (IsRotateStarted()) return WP_ROTATE_ERR_RUNNING;
  (void)WaitDoRotate();  // there may have been no run before
  size_limit_ = sizeLimitMB;
  days_limit_ = daysLimit;
  SetRotateStatus(true);
  return StartDoRotate() ? WP_ROTATE_OK : WP_ROTATE_ERR_THREAD;
}

int WPRotate::Stop() noexcept {
  const ScopedLock lock(control_mutex_);
  const bool started = IsRotateStarted();
  SetRotateStatus(false);
  (void)WaitDoRotate();  // a run that has ended by itself leaves its thread, too
  return started ? WP_ROTATE_OK : WP_ROTATE_NOT_RUNNING;
}

void* WPRotate::Runner(void* rotate) noexcept {
  static_cast<WPRotate*>(rotate)->DoRotate();
  return nullptr;
}

// The rule of days only follows a step of size that went through: a camera without recordings, or
// whose size cannot be read, is left alone.
void WPRotate::DoRotate() noexcept {
  mail_sent_ = false;
  bool goes_on = true;
  if (size_limit_ > 0) {
    const double total = GetTotalSizeOfFilesByDB();
    const double excess = total - size_limit_;
    goes_on =
        total > 0 && !CheckBreakPoint() && (excess <= 0 || RemoveFilesFromDBBySize(excess) == 0);
  }
  if (goes_on && !CheckBreakPoint() && days_limit_ > 0)
    (void)RemoveFilesFromDBByDate(days_limit_);  // stopped or done: the run ends either way
  SetRotateStatus(false);
}

double WPRotate::GetTotalSizeOfFilesByDB() noexcept {
  double total = 0;
  return watchpost::ReadTotalSize(camera_id_, total) ? total : 0;
}

int WPRotate::RemoveFilesFromDBBySize(double excessMB) noexcept {
  if (excessMB <= 0) return -1;
  double remaining = excessMB;
  int total = 0;
  while (remaining > 0) {
    int count = 0;
    const double removed = RemoveFileBySizeWithUpperbound(remaining, kBatch, count);
    total += count;
    if (removed <= 0) break;
    remaining -= removed;
    if (CheckBreakPoint()) return -1;
  }
  // Also when nothing could be removed: archived recordings alone may exceed the limit.
  SendMailOnce();
  if (total != 0 && camera_ != nullptr)
    (void)WPLog(WP_LOG_ROTATED_BY_SIZE, camera_->GetName().c_str(), itos(total).c_str(), "", "");
  return 0;
}

int WPRotate::RemoveFilesFromDBByDate(int days) noexcept {
  if (days <= 0) return -1;
  const long cutoff = watchpost::RotationCutoff(time(nullptr), days);
  int total = 0;
  for (int more = 1; more > 0;) {
    int count = 0;
    more = RemoveFileByDateWithUpperbound(cutoff, kBatch, count);
    total += count;
    if (more > 0) PauseWhenStalled();
    if (CheckBreakPoint()) return -1;
  }
  if (total == 0 || camera_ == nullptr) return 0;
  SendMailOnce();
  (void)WPLog(WP_LOG_ROTATED_BY_DATE, camera_->GetName().c_str(), itos(total).c_str(), "", "");
  return 0;
}

double WPRotate::RemoveFileBySizeWithUpperbound(double sizeMB,
                                                int upperbound,
                                                int& removedCount) noexcept {
  if (sizeMB <= 0 || upperbound <= 0) return 0;
  removedCount = 0;
  std::string folder;
  // A MiB that was not removed: it keeps the loop around this moving.
  if (!StorageFolder(folder)) {
    WP_LOG("Failed to get camera folder");
    return 1;
  }
  const auto target = static_cast<std::uint64_t>(sizeMB * kBytesPerMB);
  const auto batch = watchpost::RemoveOldest(camera_id_, folder, target, upperbound);
  stalled_ = batch.stalled;
  removedCount = batch.removed;
  return TransformFromByteToMB(batch.bytes);
}

int WPRotate::RemoveFileByDateWithUpperbound(long cutoff,
                                             int upperbound,
                                             int& removedCount) noexcept {
  if (cutoff <= 0 || upperbound <= 0) return 0;
  removedCount = 0;
  std::string folder;
  if (!StorageFolder(folder)) {
    WP_LOG("Failed to get camera folder");
    return 1;
  }
  const auto batch = watchpost::RemoveEndedBy(camera_id_, folder, cutoff, upperbound);
  stalled_ = batch.stalled;
  removedCount = batch.removed;
  return batch.rows == upperbound ? 1 : 0;
}

bool WPRotate::StorageFolder(std::string& folder) noexcept {
  folder = camera_ == nullptr ? "" : camera_->GetStoragePath();
  stalled_ = folder.empty();
  return !stalled_;
}

void WPRotate::SendMailOnce() noexcept {
  if (mail_sent_ || camera_ == nullptr) return;
  (void)WPMailSender().SendMail(
      WP_MAIL_ROTATION_LIMIT_REACHED, camera_, nullptr, nullptr);  // removing goes on without it
  mail_sent_ = true;
}

// A run that gets nowhere goes on until it is stopped, without burning the processor.
void WPRotate::PauseWhenStalled() noexcept {
  constexpr timespec kSlice{0, 100 * 1000 * 1000};
  constexpr int kSlices = 10;
  for (int i = 0; stalled_ && i < kSlices && !CheckBreakPoint(); ++i)
    (void)nanosleep(&kSlice, nullptr);
}
