// A camera's newest frames and the state of its connection, in shared memory: one process writes,
// any number read in place. Process-shared; single-writer.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/export.h"
#include "ipc/dataunit.h"
#include "ipc/ringstate.h"

/// State of a camera's connection, kept by its recorder.
enum CAM_CONN_STATUS : std::int32_t {
  CAM_CONN_NONE = 0,       ///< no ring, or one that was replaced: attach again
  CAM_CONN_WAITING = 1,    ///< the recorder runs and waits for the camera
  CAM_CONN_CONNECTED = 2,  ///< frames come
  CAM_CONN_LOST = 3,       ///< the camera was lost; the recorder tries again
};

/// The header of a segment, 44 bytes; the data area follows (docs/shared-memory.md). The recorder
/// makes the segment, calls Init, then for each frame WriteAlloc, fills the frame in place and
/// calls WriteFinish. Readers attach with RingBufferGet, step with ReadLatest and ReadNext, give
/// each unit back with ReadFinish, and detach with RingBufferRelease.
///
/// Every new frame evicts all others up to the latest, save those that a reader holds and those
/// after one that a reader holds: who follows holds the frame at hand until it has the next. A
/// reader never blocks the recorder; one that holds a frame for long only fills the ring, and
/// frames for which there is no room are dropped.
class WATCHPOST_API RingBuffer {
 public:
  /// Lays out an empty ring in a segment of `segmentSize` bytes and creates the camera's semaphore
  /// set, one group of four for every 4096 bytes; writes the kernel's limits (SemMgr::Init).
  /// Returns 0; -1 with a line in the system log.
  int Init(int cameraId, int segmentSize) noexcept;

  /// Removes the semaphore set. Returns 0; 1 with a line in the system log.
  int Destroy() noexcept;

  /// Writer: makes room and reserves a unit for `size` bytes, locked for writing. Null when less
  /// than a fifth of the data area is free, whatever `size` is, or when the unit would pass the end
  /// of the area: so ask for less than a fifth. Does not block. A unit that was reserved must be
  /// finished: it cannot be given back, and readers wait for it.
  DataUnit* WriteAlloc(int size) noexcept;

  /// Writer: publishes a unit of WriteAlloc as the latest. Returns 0; -1 for null.
  int WriteFinish(DataUnit* unit) noexcept;

  /// The latest frame, locked for reading; null when there was none yet, or, with a line in the
  /// system log, when the ring was removed meanwhile. Blocks while the very first frame is written.
  DataUnit* ReadLatest() noexcept;

  /// The frame after `previous`, which the caller still holds; the oldest one for null. Locked for
  /// reading; blocks while that frame is written. Null when there is none yet, or, with a line in
  /// the system log, when the ring was removed meanwhile. Does not give `previous` back.
  DataUnit* ReadNext(DataUnit* previous) noexcept;

  /// Gives back a unit of ReadLatest or ReadNext. Returns 0; -1 for null.
  int ReadFinish(DataUnit* unit) noexcept;

  /// Whether a segment of that size holds what the header says; a segment that is not laid out yet
  /// does.
  [[nodiscard]] bool Fits(std::size_t segment_size) const noexcept;

  /// Returns 0.
  int ConnStatusSet(CAM_CONN_STATUS status) noexcept;
  /// Returns 0; -1 for null.
  int ConnStatusGet(CAM_CONN_STATUS* status) const noexcept;

 private:
  struct Place {
    int offset;
    int free;  // bytes
    bool wraps;
  };
  [[nodiscard]] Place PlaceFor(int needed) const noexcept;
  void Evict() noexcept;
  int DeleteOldest(bool waits) noexcept;
  bool Prepare(DataUnit& unit, int size, int group) noexcept;
  DataUnit* PtrFromOffset(int offset) noexcept;
  int OffsetFromPtr(unsigned char* address) noexcept;

  watchpost::RingState state_;
};

/// Attaches the ring of a camera. Null when there is none, when it must not be attached, or when
/// the segment is too short for what its header says. Release it with RingBufferRelease.
WATCHPOST_API RingBuffer* RingBufferGet(int cameraId) noexcept;

/// Detaches a ring; units of it are no longer valid, and should have been given back. Returns the
/// result of shmdt.
WATCHPOST_API int RingBufferRelease(RingBuffer* ring) noexcept;

/// State of the camera's connection, a CAM_CONN_STATUS; 0 without a ring.
WATCHPOST_API int CameraConnectionStatus(int cameraId) noexcept;
