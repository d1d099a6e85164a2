#include "databaseworker.h"

#include <watchpost/database/health.h>

#include <algorithm>
#include <string>

namespace wpd {
namespace {

using watchpost::MutexLock;

constexpr std::chrono::seconds kShortestPause{1};
constexpr std::chrono::seconds kLongestPause{10};

}  // namespace

DatabaseWorker::DatabaseWorker(int camera_id)
    : camera_id_(camera_id),
      trouble_("camera " + std::to_string(camera_id) +
               ": the database answers again; rows are up to date") {}

bool DatabaseWorker::Flush(std::chrono::milliseconds limit) {
  const auto deadline = WorkerThread::Clock::now() + limit;
  const MutexLock lock(mutex_);
  hurry_ = true;
  idle_ = false;
  thread_.Wake();
  while (!idle_ && done_.WaitUntil(mutex_, deadline)) {
  }
  hurry_ = false;
  return idle_;
}

std::optional<WorkerThread::Clock::duration> DatabaseWorker::DoWork() {
  const auto has_work = [](DatabaseTask* task) { return task->HasWork(); };
  bool done = true;
  // One that the database refuses does not hold up the others.
  for (DatabaseTask* task : tasks_) done = (!task->HasWork() || task->DoWork()) && done;
  if (!done) {
    ReportTrouble();
    for (DatabaseTask* task : tasks_) task->Keep();
    pause_ = std::clamp(2 * pause_, kShortestPause, kLongestPause);
    const MutexLock lock(mutex_);
    return hurry_ ? kShortestPause : pause_;
  }
  trouble_.End();
  pause_ = std::chrono::seconds(0);
  const MutexLock lock(mutex_);
  idle_ = std::none_of(tasks_.begin(), tasks_.end(), has_work);
  if (!idle_) return WorkerThread::Clock::duration::zero();
  done_.WakeAll();
  return std::nullopt;
}

void DatabaseWorker::ReportTrouble() {
  trouble_.Begin("camera " + std::to_string(camera_id_) + ": the database does not " +
                 (watchpost::DatabaseAnswers() ? "take every row" : "answer") +
                 "; recording goes on, rows will be written later");
}

}  // namespace wpd
