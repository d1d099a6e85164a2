#include "event/wprotate.h"

#include <time.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

#include "event/eventfiles.h"
#include "event/eventlookup.h"
#include "event/rotatefilter_internal.h"
#include "foundation/dbrow_internal.h"
#include "foundation/log_internal.h"
#include "foundation/utils.h"
#include "foundation/wpdb.h"
#include "foundation/wplog.h"
#include "notify/wpmail.h"

namespace {

constexpr char kLogSource[] = "wprotate";
constexpr int kBatch = 1000;
constexpr int kNotArchived = 0;
constexpr int kAnyArchived = -1;
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

// The oldest recordings first.
std::string SelectOldest(const char* columns, int camera_id, long cutoff, int upperbound) {
  return std::string("SELECT ") + columns + " FROM " + gszTableEvent +
         BuildRotateFilter(0, camera_id, 0, cutoff, kNotArchived) + " order by stop_time limit " +
         itos(upperbound);
}

// The rows of a batch.
class OldestRecordings {
 public:
  OldestRecordings(DBResult* result, std::string folder)
      : rows_(result), left_(ORVADBNumRows(result)), folder_(std::move(folder)) {}

  // Removes the file of the next one. False at the end, and before a last one that is still being
  // written: only the newest of a camera's recordings can be.
  bool RemoveNext() {
    if (left_ <= 0 || !rows_.Next()) return false;
    const std::string name = rows_.Row().Text("path");
    const std::string path = folder_ + "/" + name;
    if (--left_ == 0 && IsFileLocked(path.c_str()) != 0) return false;
    // A row that points out of the folder goes without the file.
    if (watchpost::IsInFolder(name)) (void)RemoveEventFile(path.c_str());
    last_stop_ = rows_.Row().Long("stop_time");
    ++removed_;
    return true;
  }

  // Of the one removed last.
  [[nodiscard]] std::uint64_t Bytes() const {
    return std::strtoull(rows_.Row().Text("filesize"), nullptr, 10);
  }
  [[nodiscard]] long LastStop() const { return last_stop_; }
  [[nodiscard]] int Removed() const { return removed_; }

 private:
  watchpost::RowCursor rows_;
  int left_;
  const std::string folder_;
  long last_stop_ = 0;
  int removed_ = 0;
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
  const watchpost::ResultPtr result =
      watchpost::Query(std::string("SELECT sum(filesize) FROM ") + gszTableEvent +
                       BuildRotateFilter(0, camera_id_, 0, 0, kAnyArchived));
  watchpost::RowCursor rows(result.get());
  return rows.Next()
             ? TransformFromByteToMB(static_cast<unsigned long long>(rows.Row().Long("sum")))
             : 0;
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
  const watchpost::ResultPtr result =
      watchpost::Query(SelectOldest("stop_time,path,filesize", camera_id_, 0, upperbound));
  if (result == nullptr) return 0;
  OldestRecordings oldest(result.get(), folder);
  std::uint64_t bytes = 0;
  while (bytes < target && oldest.RemoveNext()) bytes += oldest.Bytes();
  removedCount = oldest.Removed();
  RemoveRows(oldest.LastStop());
  return TransformFromByteToMB(bytes);
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
  const watchpost::ResultPtr result =
      watchpost::Query(SelectOldest("stop_time,path", camera_id_, cutoff, upperbound));
  if (result == nullptr) return 0;
  OldestRecordings oldest(result.get(), folder);
  while (oldest.RemoveNext()) {
  }
  removedCount = oldest.Removed();
  RemoveRows(oldest.LastStop());
  // Rows without a stop time are never removed by it, and would be found again at once.
  if (oldest.Removed() > 0 && oldest.LastStop() == 0) stalled_ = true;
  return ORVADBNumRows(result.get()) == upperbound ? 1 : 0;
}

bool WPRotate::StorageFolder(std::string& folder) noexcept {
  folder = camera_ == nullptr ? "" : camera_->GetStoragePath();
  stalled_ = folder.empty();
  return !stalled_;
}

// Every row up to the last removed one goes, also one whose file stayed.
void WPRotate::RemoveRows(long lastStop) noexcept {
  if (lastStop == 0) return;
  stalled_ = WPDBExecute(std::string("DELETE FROM ") + gszTableEvent +
                         BuildRotateFilter(0, camera_id_, 0, lastStop, kNotArchived)) != 0;
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
