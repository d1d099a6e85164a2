// Whether the camera's folder is there, from a thread of its own; finishes what an earlier daemon
// left in it as soon as it is. Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>

#include <atomic>
#include <chrono>
#include <set>
#include <string>

#include "camerarecord.h"
#include "log.h"
#include "rowwriter.h"
#include "workerthread.h"

namespace wpd {

class FolderWatch : private WorkerThread::Delegate {
 public:
  /// Both outlive the object.
  FolderWatch(SharedRecord& record, RowWriter& rows);

  /// Looks once, and starts the thread.
  void Start();

  /// Whether recordings can go into the folder.
  [[nodiscard]] bool IsReady() const { return ready_; }

  /// A recording could not be finished: it is tried again until it can.
  void Repair();

  /// To be held from the creation of a recording until it is locked.
  watchpost::Mutex& Beginning() { return beginning_; }

  /// See WorkerThread::Stop.
  bool Stop(std::chrono::milliseconds limit) { return thread_.Stop(limit); }

 private:
  std::optional<WorkerThread::Clock::duration> DoWork() override;
  void Check();
  bool FinishLeftovers(const Camera& camera, bool all);

  SharedRecord& record_;
  RowWriter& rows_;
  watchpost::Mutex beginning_;
  std::atomic<bool> ready_{false};
  std::atomic<bool> unfinished_{false};  // there is something to finish
  // Of the thread alone:
  std::string finished_in_;     // the folder whose leftovers were finished last
  std::set<std::string> busy_;  // recordings that were locked then
  Spell trouble_;
  WorkerThread thread_{*this};
};

}  // namespace wpd
