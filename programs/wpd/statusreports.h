// The daemon's states on their way to table "camerastatus". Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>
#include <watchpost/service/services.h>

#include <deque>

#include "databaseworker.h"

namespace wpd {

class StatusReports : public DatabaseTask {
 public:
  /// `worker` outlives the object.
  StatusReports(int camera_id, DatabaseWorker& worker) : camera_id_(camera_id), worker_(worker) {}

  /// Takes over a new state; all are reported, in their order.
  void Report(DAEMON_STATUS status);

 private:
  [[nodiscard]] bool HasWork() override;
  bool DoWork() override;

  const int camera_id_;
  DatabaseWorker& worker_;
  watchpost::Mutex mutex_;
  std::deque<DAEMON_STATUS> waiting_ WATCHPOST_GUARDED_BY(mutex_);
};

}  // namespace wpd
