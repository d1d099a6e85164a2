// The camera's System V semaphore set, handed out in groups of four: one group a stored frame.
// Single-writer: the process that records the camera takes and frees groups.
#pragma once

#include <cstdint>

#include "base/export.h"

/// The System V key of a camera's semaphore set and of its shared-memory segment. Only the low 16
/// bits of the id count.
WATCHPOST_API int IPCKeyFromCameraId(int cameraId) noexcept;

/// Lives inside the ring's header in shared memory: four 32-bit words and no pointer
/// (docs/shared-memory.md). Groups are taken and given back first-in first-out; those handed out
/// are one run of the set, modulo its size.
class WATCHPOST_API SemMgr {
 public:
  /// Creates the camera's set of `count` semaphores, a multiple of 4, and removes an older one of
  /// the camera first. Writes the kernel's limits for the whole IPC namespace: `count` semaphores a
  /// set, 16 times as many in all. Values of semaphores are not set here. Returns 0; or -1, with a
  /// line in the system log and the record untouched.
  int Init(int cameraId, int count) noexcept;

  /// Hands out the next group and returns the index of its first semaphore; -1, with two lines in
  /// the system log, when all are handed out.
  int Get() noexcept;

  /// Gives back the oldest group. Returns 0; -1 when `first` is not its first semaphore.
  int Free(int first) noexcept;

  /// Takes back the group that was handed out last.
  void TakeBack() noexcept;

  /// Removes the set: whoever waits on it is woken. Returns 0; -1, with a line in the log.
  int Destroy() noexcept;

  [[nodiscard]] int SemSetId() const noexcept;

  /// For readers in other processes: the first semaphore of the oldest group that is handed out.
  [[nodiscard]] int OldestGroup() const noexcept;

 private:
  static void AssertLayout();

  std::int32_t set_id_;
  std::int32_t count_;
  std::int32_t allocated_;  // a multiple of 4
  std::int32_t offset_;     // of the oldest group that is handed out
};
