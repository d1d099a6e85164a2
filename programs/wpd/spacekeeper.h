// Keeps some of the disk free: checks when a file has ended, when a write has failed and every few
// seconds, and removes the camera's oldest recordings when there is too little. Thread-safe.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "camerarecord.h"
#include "log.h"
#include "mailer.h"
#include "workerthread.h"

namespace wpd {

/// Free space for this process's user where `folder` lies; unknown counts as plenty, writing will
/// show.
std::uint64_t FreeBytes(const std::string& folder);

class SpaceKeeper : private WorkerThread::Delegate {
 public:
  /// Keeps `floor_bytes` free. A camera without limits keeps all of its recordings, and its owner
  /// gets a mail through `mailer` when there is too little room for `steady`.
  SpaceKeeper(std::uint64_t floor_bytes,
              std::chrono::seconds steady,
              SharedRecord& record,
              Mailer& mailer);

  void Start() { thread_.Start(); }

  /// Makes it check soon. Does not block.
  void Wake() { thread_.Wake(); }

  /// See WorkerThread::Stop.
  bool Stop(std::chrono::milliseconds limit) { return thread_.Stop(limit); }

 private:
  std::optional<WorkerThread::Clock::duration> DoWork() override;
  void AtEnd() override { LogRemoved(); }
  void RemoveOldest(const Camera& camera, std::uint64_t floor);
  void ReportFull(const Camera& camera);
  void LogRemoved();

  const std::uint64_t wanted_;
  SharedRecord& record_;
  Mailer& mailer_;
  // Of the thread alone:
  Spell full_;
  SpellState full_mail_;
  int removed_ = 0;  // and not in the event log yet
  WorkerThread::Clock::time_point next_entry_;
  WorkerThread thread_{*this};
};

}  // namespace wpd
