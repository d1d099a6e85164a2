// One stored frame: a header of 40 bytes in shared memory, and the frame behind it. Process-shared.
#pragma once

#include <sys/time.h>

#include <cstdint>

#include "base/export.h"
#include "ipc/rwlock.h"

/// Lives inside the data area of a RingBuffer (docs/shared-memory.md), which makes and removes
/// units; programs hold pointers to them between ReadLatest or ReadNext and ReadFinish, or between
/// WriteAlloc and WriteFinish.
class WATCHPOST_API DataUnit {
 public:
  /// Prepares the unit for a frame of `size` bytes, with the group of semaphores that begins at
  /// `semOffset`. Returns 0, or the result of the semctl that failed.
  int Init(int size, int semSetId, int semOffset) noexcept;
  /// Init and WrLock in one, see RWLock::InitForWriting.
  bool InitForWriting(int size, int semSetId, int semOffset) noexcept;
  int Destroy() noexcept;

  int Lock() noexcept;    ///< for reading; blocks while the frame is written
  int WrLock() noexcept;  ///< for writing; -1 at once when anybody has asked for the lock
  int ReadUnlock() noexcept;
  int WriteUnlock() noexcept;

  /// The unit's lock itself.
  [[nodiscard]] RWLock& GetLock() noexcept { return lock_; }

  [[nodiscard]] int GetSemOffset() const noexcept { return sem_offset_; }

  /// Bytes from this unit to the next: header and frame, rounded up to a multiple of 4.
  [[nodiscard]] int UnitSize() const noexcept;

  /// The moment at which writing ended, on the wall clock. The 32 bits of its seconds are taken as
  /// unsigned: they last until 2106.
  void SetTimestamp() noexcept;
  [[nodiscard]] timeval GetTimestamp() const noexcept;

  /// The address right behind this unit; whether a unit is there only the ring knows.
  DataUnit* Next() noexcept;

  /// The unit whose frame begins at `payload`.
  static DataUnit* FromDataAddr(unsigned char* payload) noexcept;

  /// The frame: Size() bytes, to be read and written under the unit's lock.
  unsigned char* Payload() noexcept;
  [[nodiscard]] const unsigned char* Payload() const noexcept;
  [[nodiscard]] int Size() const noexcept { return size_; }

 private:
  static void AssertLayout();

  std::int32_t size_;
  RWLock lock_;
  std::int32_t sem_offset_;
  std::int32_t seconds_;
  std::int32_t microseconds_;
};
