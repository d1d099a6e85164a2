// Keeps some of the disk free: checks when a file has ended, when a write has failed and every few
// seconds, and removes the camera's oldest recordings when there is too little. Thread-safe.
#pragma once

#include <watchpost/service/daemonsettings.h>

#include <atomic>
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

/// How many of the `wanted` free bytes its disk is to have: a tenth of a small one at most. 0 when
/// that is unknown.
std::uint64_t WantedBytes(const std::string& folder, std::uint64_t wanted);

class SpaceKeeper : private WorkerThread::Delegate {
 public:
  /// Both outlive the object.
  SpaceKeeper(const watchpost::DaemonSettings& settings, SharedRecord& record, Mailer& mailer);

  void Start() { thread_.Start(); }

  /// Makes it check soon. Does not block.
  void Wake() { thread_.Wake(); }

  /// So many bytes more were recorded: as many may go to make room, and no more, so that what one
  /// camera keeps is never another's to fill.
  void OnWritten(std::uint64_t bytes) { written_ += bytes; }

  /// A frame could not be written for want of room.
  void OnFull();

  /// Whether the camera must not record: it has no limit, and the disk is nearly full. What is left
  /// belongs to the cameras that make room for themselves.
  [[nodiscard]] bool IsHeldBack() const { return held_back_; }

  /// See WorkerThread::Stop.
  bool Stop(std::chrono::milliseconds limit) { return thread_.Stop(limit); }

 private:
  std::optional<WorkerThread::Clock::duration> DoWork() override;
  void AtEnd() override { LogRemoved(); }
  void RemoveOldest(const Camera& camera, std::uint64_t floor);
  void ReportFull(const Camera& camera);
  void LogRemoved();

  const std::uint64_t wanted_;   // free bytes
  const std::uint64_t reserve_;  // and so many more before a camera without limit goes on
  SharedRecord& record_;
  Mailer& mailer_;
  std::atomic<std::uint64_t> written_{0};  // bytes since the last check
  std::atomic<bool> full_now_{false};      // a write has failed since then
  std::atomic<bool> held_back_{false};
  // Of the thread alone:
  std::int64_t credit_ = 0;  // bytes that may be removed
  bool advanced_ = false;    // some went in advance, and nothing has been written since
  Spell full_;
  SpellState full_mail_;
  WorkerThread::Clock::time_point next_check_;
  int removed_ = 0;  // and not in the event log yet
  WorkerThread::Clock::time_point next_entry_;
  WorkerThread thread_{*this};
};

}  // namespace wpd
