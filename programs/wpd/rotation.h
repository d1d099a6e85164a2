// Removes what exceeds the camera's limits on every full hour, from a thread of its own.
// Thread-safe.
#pragma once

#include <watchpost/event/rotateclient.h>

#include <atomic>
#include <chrono>

#include "camerarecord.h"
#include "workerthread.h"

namespace wpd {

/// Whether a limit of the camera is switched on.
bool IsRotated(const Camera& camera);

class Rotation : private WorkerThread::Delegate {
 public:
  /// `record` outlives the object.
  explicit Rotation(SharedRecord& record) : record_(record) {}

  void Start() { thread_.Start(); }

  /// The camera's limits may have changed.
  void OnRecordChanged();

  /// To be called about once a second: a change that came just as the loop began is asked for
  /// again. Without the camera's folder nothing is removed: its recordings lie on a disk that is
  /// missing.
  void OnTick(bool has_folder);

  /// Ends the thread after the batch at hand; see WorkerThread::Stop.
  bool Stop(std::chrono::milliseconds limit);

 private:
  std::optional<WorkerThread::Clock::duration> DoWork() override;

  SharedRecord& record_;
  RotateClient client_;
  void EndWait();

  std::atomic<bool> changed_{false};
  std::atomic<bool> has_folder_{true};
  WorkerThread thread_{*this};
};

}  // namespace wpd
