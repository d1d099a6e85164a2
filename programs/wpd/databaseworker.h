// The daemon's talk with the database, from a thread of its own: recording never waits for it. What
// the database does not take is tried again, with pauses. Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>

#include <chrono>
#include <vector>

#include "log.h"
#include "workerthread.h"

namespace wpd {

/// Something that is to be written to, or read from, the database. Both are called by the worker's
/// thread alone; whoever adds work wakes the worker.
class DatabaseTask {
 public:
  virtual ~DatabaseTask() = default;

  [[nodiscard]] virtual bool HasWork() = 0;

  /// Does what there is to do. False when some of it is left because the database did not take it.
  virtual bool DoWork() = 0;

  /// Keeps what is left for a later daemon, after DoWork has failed.
  virtual void Keep() {}
};

class DatabaseWorker : private WorkerThread::Delegate {
 public:
  explicit DatabaseWorker(int camera_id);

  /// Does the tasks in this order; they outlive the worker. Before Start.
  void Add(DatabaseTask& task) { tasks_.push_back(&task); }

  void Start() { thread_.Start(); }
  void Wake() { thread_.Wake(); }

  /// Waits until all that was handed in is done; false when `limit` was over before. A failing
  /// database is tried every second meanwhile.
  bool Flush(std::chrono::milliseconds limit);

  /// See WorkerThread::Stop; does not wait for what is left.
  bool Stop(std::chrono::milliseconds limit) { return thread_.Stop(limit); }

 private:
  std::optional<WorkerThread::Clock::duration> DoWork() override;
  void ReportTrouble();

  const int camera_id_;
  std::vector<DatabaseTask*> tasks_;
  Spell trouble_;                  // of the thread alone
  std::chrono::seconds pause_{0};  // likewise
  watchpost::Mutex mutex_;
  watchpost::Condition done_;
  bool idle_ WATCHPOST_GUARDED_BY(mutex_) = false;   // nothing was left at the end of the last pass
  bool hurry_ WATCHPOST_GUARDED_BY(mutex_) = false;  // somebody waits in Flush
  WorkerThread thread_{*this};
};

}  // namespace wpd
