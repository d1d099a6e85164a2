// Brings what is recorded to the disk from a thread of its own: a power cut costs seconds.
// Thread-safe.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>

#include "boundedthread.h"

namespace wpd {

class FileSync {
 public:
  /// Syncs the file that is being written every `interval`.
  explicit FileSync(std::chrono::seconds interval) : interval_(interval) {}
  FileSync(const FileSync&) = delete;
  FileSync& operator=(const FileSync&) = delete;

  /// The thread must have ended; see Stop.
  ~FileSync() = default;

  void Start();

  /// The file at `path` is being written from now on.
  void Follow(const std::string& path);

  /// It is finished: synced once more, soon.
  void Release(const std::string& path);

  /// Syncs what is finished and waits for the end of the thread. False when that takes longer than
  /// `limit`: the process must then leave without running destructors.
  bool Stop(std::chrono::milliseconds limit);

 private:
  void Run();

  const std::chrono::seconds interval_;
  std::mutex mutex_;  // guards all below
  std::condition_variable wake_;
  std::set<std::string> open_;
  std::set<std::string> finished_;
  bool stop_ = false;
  BoundedThread thread_;
};

}  // namespace wpd
