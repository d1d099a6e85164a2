// A reader-writer lock between processes, on four System V semaphores and four counters in shared
// memory. It prefers writers. Process-shared.
#pragma once

#include <cstdint>

#include "base/export.h"

/// Six 32-bit words and no pointer, part of each stored frame (docs/shared-memory.md). A process
/// that ends gives back, through SEM_UNDO, what it did to the semaphores; counters keep what it
/// counted. Nothing is logged.
///
/// The rules: a reader is admitted at once only while no writer has asked; a writer only while no
/// reader is admitted. The last admitted reader to leave admits all waiting writers, who then go
/// one after another; the last writer to leave admits all waiting readers.
class WATCHPOST_API RWLock {
 public:
  /// The four semaphores, as offsets from the group's first.
  enum SEMOFFSET : int {
    COUNTERS = 0,  ///< mutex over the counters; 1 at first
    WRITE = 1,     ///< mutex among admitted writers; 1 at first
    READ_GO = 2,   ///< gate on which readers wait; 0 at first
    WRITE_GO = 3,  ///< gate on which writers wait; 0 at first
  };

  /// Sets counters and semaphores to their first values; `base` is the index of the group's first
  /// semaphore in the set. Returns 0, or the result of the first semctl that failed.
  int Init(int semSetId, int base) noexcept;

  /// Does nothing, as the semaphores belong to their set. Returns 0.
  int Destroy() noexcept;

  /// These block, and return 0 always: also when the set is removed meanwhile, which lets everybody
  /// pass. A signal does not end them.
  int ReadLock() noexcept;
  int ReadUnlock() noexcept;
  int WriteLock() noexcept;
  int WriteUnlock() noexcept;

  /// These do not wait for readers or writers. Returns 0; -1 when any writer has asked for the lock
  /// (TryReadLock), anybody at all (TryWriteLock), or somebody is at the counters at this moment.
  int TryReadLock() noexcept;
  int TryWriteLock() noexcept;

  // --- ReadLock in two halves, for the ring, which keeps a unit in place until its reader is
  // counted ---

  enum class Admission {
    kAdmitted,  ///< the lock is held
    kWaits,     ///< the reader is counted, and has to pass the gate
    kFailed,    ///< the set is gone
  };

  /// Counts a reader. `counters_held` says that the caller has taken the semaphore COUNTERS, and
  /// gives it back; otherwise both is done here.
  Admission Register(bool counters_held) noexcept;

  /// Waits at the gate where that is needed. Whether the lock is held now.
  bool Pass(Admission admission) noexcept;

  // --- What the ring's writer does in fewer calls than with the operations above, whose results
  // these have ---

  /// Init and TryWriteLock of a lock that nobody can reach yet, whose semaphores have their first
  /// values, COUNTERS less one that the caller holds and that is given back here. False when WRITE
  /// was not free: nothing was changed then.
  bool InitForWriting(int semSetId, int base) noexcept;

  /// WriteUnlock; how many readers it let pass the gate.
  int LetReadersIn() noexcept;

  /// Takes COUNTERS when nobody at all has asked for the lock: nobody gets it until EndExclusion.
  /// False, with errno EAGAIN when somebody is at the counters at this moment (and stays there for
  /// 5 ms, when it `waits`), otherwise.
  bool Exclude(bool waits) noexcept;
  void EndExclusion() noexcept { (void)UnlockCounters(); }

 private:
  static void AssertLayout();

  void SetRecord(int semSetId, int base, bool writing) noexcept;

  /// Counts a reader, under COUNTERS; whether it was admitted.
  bool CountReader() noexcept;

  int SemWait(SEMOFFSET offset, bool wait) noexcept;
  int SemSignal(SEMOFFSET offset) noexcept;
  int LockCounters(bool wait) noexcept { return SemWait(COUNTERS, wait); }
  int UnlockCounters() noexcept { return SemSignal(COUNTERS); }
  int LockWrite(bool wait) noexcept { return SemWait(WRITE, wait); }
  int UnlockWrite() noexcept { return SemSignal(WRITE); }
  int WaitRead(bool wait) noexcept { return SemWait(READ_GO, wait); }
  int SignalRead() noexcept { return SemSignal(READ_GO); }
  int WaitWrite(bool wait) noexcept { return SemWait(WRITE_GO, wait); }
  int SignalWrite() noexcept { return SemSignal(WRITE_GO); }

  std::int32_t set_id_;
  std::int32_t base_;
  // Read and changed by the holder of COUNTERS alone. Requests wait or hold, grants were admitted.
  std::int32_t read_requests_;
  std::int32_t read_grants_;
  std::int32_t write_requests_;
  std::int32_t write_grants_;
};
