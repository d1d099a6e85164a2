// Brings what is recorded to the disk from a thread of its own: a power cut costs seconds.
// Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>

#include <chrono>
#include <set>
#include <string>

#include "workerthread.h"

namespace wpd {

class FileSync : private WorkerThread::Delegate {
 public:
  /// Syncs the file that is being written every `interval`.
  explicit FileSync(std::chrono::seconds interval) : interval_(interval) {}

  void Start() { thread_.Start(); }

  /// The file at `path` is being written from now on.
  void Follow(const std::string& path);

  /// It is finished: synced once more, soon.
  void Release(const std::string& path);

  /// Syncs what is finished and ends the thread; see WorkerThread::Stop.
  bool Stop(std::chrono::milliseconds limit) { return thread_.Stop(limit); }

 private:
  std::optional<WorkerThread::Clock::duration> DoWork() override;
  void AtEnd() override;

  const std::chrono::seconds interval_;
  watchpost::Mutex mutex_;
  std::set<std::string> open_ WATCHPOST_GUARDED_BY(mutex_);
  std::set<std::string> finished_ WATCHPOST_GUARDED_BY(mutex_);
  WorkerThread thread_{*this};
};

}  // namespace wpd
