#include "ipc/ringbuffer.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <syslog.h>

#include <cerrno>
#include <cstddef>
#include <vector>

#include "base/diagnostics_internal.h"
#include "ipc/framelocker_internal.h"
#include "ipc/freshgroups_internal.h"
#include "ipc/ringlayout.h"
#include "ipc/semaphore_internal.h"
#include "ipc/sharedmemory.h"
#include "ipc/sharedword_internal.h"

namespace {

using watchpost::FrameLocker;
using watchpost::FreshGroups;
using watchpost::LoadShared;
using watchpost::StoreShared;
namespace ring = watchpost::ring;

constexpr char kLogSource[] = "ringbuffer";
static_assert(sizeof(RingBuffer) == ring::kHeaderSize);

// Every group begins with its first values, so that a group whose counters are not free is one that
// somebody is at.
bool SetFirstValues(int set_id, int count) {
  std::vector<unsigned short> values(static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < values.size(); i += ring::kGroup)
    values[i + RWLock::COUNTERS] = values[i + RWLock::WRITE] = 1;
  return watchpost::SetAllSemaphores(set_id, values.data()) == 0;
}

}  // namespace

int RingBuffer::Init(int cameraId, int segmentSize) noexcept {
  state_.camera_id = cameraId;
  state_.capacity = segmentSize - ring::kHeaderSize;
  for (std::int32_t* word : {&state_.write, &state_.oldest, &state_.latest, &state_.wrap})
    StoreShared(*word, 0);
  StoreShared(state_.status, CAM_CONN_WAITING);
  const int count = segmentSize / ring::kBytesPerGroup * ring::kGroup;
  const bool made = state_.semaphores.Init(cameraId, count) == 0;
  if (made && SetFirstValues(state_.semaphores.SemSetId(), count)) {
    FreshGroups::Begin(state_.semaphores.SemSetId(), count / ring::kGroup);
    return 0;
  }
  if (made) (void)state_.semaphores.Destroy();  // failing is logged
  WP_LOG("Semaphore init failed");
  return -1;
}

bool RingBuffer::Fits(std::size_t segment_size) const noexcept {
  const int capacity = LoadShared(state_.capacity);
  return capacity >= 0 && static_cast<std::size_t>(capacity) + ring::kHeaderSize <= segment_size;
}

int RingBuffer::Destroy() noexcept {
  FreshGroups::End(state_.semaphores.SemSetId());
  if (state_.semaphores.Destroy() == 0) return 0;
  WP_LOG("Failed to delete semaphore set");
  return 1;
}

DataUnit* RingBuffer::PtrFromOffset(int offset) noexcept {
  return state_.UnitAt(offset);
}

int RingBuffer::OffsetFromPtr(unsigned char* address) noexcept {
  return state_.OffsetOf(reinterpret_cast<DataUnit*>(address));
}

// Where a unit of `needed` bytes would go, and what is free there.
RingBuffer::Place RingBuffer::PlaceFor(int needed) const noexcept {
  const int at = state_.write;
  if (at < state_.oldest) return {at, state_.oldest - at, false};
  if (needed > state_.capacity - at) return {0, state_.oldest, true};
  return {at, state_.capacity - at + state_.oldest, false};
}

DataUnit* RingBuffer::WriteAlloc(int size) noexcept {
  Evict();
  if (size < 0 || size > state_.capacity - ring::kUnitHeaderSize) return nullptr;
  const int needed = ring::UnitSize(size);
  const Place place = PlaceFor(needed);
  if (place.free < ring::LeastFree(state_.capacity)) return nullptr;
  if (place.offset + needed > state_.capacity) return nullptr;
  if (place.wraps) {
    // In this order: who sees that writing has begun at 0 again must see the wrap.
    StoreShared(state_.wrap, state_.write);
    StoreShared(state_.write, 0);
  }
  DataUnit* unit = PtrFromOffset(state_.write);
  const int group = state_.semaphores.Get();
  if (group < 0) {
    WP_LOG("Unable to allocate semaphore");
    return nullptr;
  }
  if (!Prepare(*unit, size, group)) {
    WP_LOG("DataUnit init failed");
    return nullptr;
  }
  StoreShared(state_.write, state_.write + unit->UnitSize());
  return unit;
}

// Readers of the newest frame pass by the oldest unit's counters, for microseconds, one after
// another: that one of them is there at this moment keeps no unit from going. Where room is short
// the writer waits its turn among them.
void RingBuffer::Evict() noexcept {
  do {
    errno = 0;
  } while (DeleteOldest(false) == 1);
  if (errno != EAGAIN || PlaceFor(0).free >= ring::LeastFree(state_.capacity)) return;
  while (DeleteOldest(true) == 1) {
  }
}

// Initialises a unit and locks it for writing. Locking fails only when a reader, too late by a
// whole round of the set, is at the counters to find that out; then once more.
bool RingBuffer::Prepare(DataUnit& unit, int size, int group) noexcept {
  constexpr int kTries = 10;
  const int set_id = state_.semaphores.SemSetId();
  for (int tried = 0; tried < kTries; ++tried) {
    if (const int error = FrameLocker::Claim(set_id, group); error != 0) {
      // A group without a unit would stay in the way of all behind it.
      if (error == EAGAIN) state_.semaphores.TakeBack();
      return false;
    }
    if (FreshGroups::Has(set_id, group) && unit.InitForWriting(size, set_id, group)) return true;
    if (unit.Init(size, set_id, group) != 0) return false;
    FreshGroups::Put(set_id, group, true);
    if (unit.WrLock() == 0) return true;
  }
  return false;
}

int RingBuffer::WriteFinish(DataUnit* unit) noexcept {
  if (unit == nullptr) return -1;
  DataUnit* latest = PtrFromOffset(state_.latest);
  if (latest != unit) StoreShared(state_.latest, state_.After(state_.latest, *latest));
  unit->SetTimestamp();
  // Who passes a gate that another opened gets it back when it ends (SEM_UNDO), whosever it is
  // then.
  if (unit->GetLock().LetReadersIn() > 0)
    FreshGroups::Put(state_.semaphores.SemSetId(), unit->GetSemOffset(), false);
  return 0;
}

int RingBuffer::DeleteOldest(bool waits) noexcept {
  if (state_.IsEmpty()) return 0;
  DataUnit* unit = PtrFromOffset(state_.oldest);
  if (state_.After(state_.oldest, *unit) == state_.write) return 0;  // the latest one stays
  if (!unit->GetLock().Exclude(waits)) return 0;
  const int next = state_.oldest + unit->UnitSize();
  if (next == state_.wrap) {
    StoreShared(state_.oldest, 0);
    StoreShared(state_.wrap, 0);
  } else {
    StoreShared(state_.oldest, next);
  }
  // The group is given back before its counters are: a reader that still sees it as the oldest one
  // then keeps the unit from being overwritten, by keeping its counters.
  const bool freed = state_.semaphores.Free(unit->GetSemOffset()) == 0;
  unit->GetLock().EndExclusion();
  if (!freed) WP_LOG("Free semaphore failed");
  if (unit->Destroy() != 0) WP_LOG("Destroy data unit failed");
  return 1;
}

DataUnit* RingBuffer::ReadLatest() noexcept {
  FrameLocker locker(state_);
  if (locker.Outcome() == FrameLocker::kEmpty) return nullptr;
  DataUnit* unit = nullptr;
  if (locker.Outcome() == FrameLocker::kHeld) unit = state_.StoredUnit(LoadShared(state_.latest));
  if (unit != nullptr && locker.Lock(*unit)) return unit;
  syslog(LOG_ERR, " lock failed\n");
  return nullptr;
}

DataUnit* RingBuffer::ReadNext(DataUnit* previous) noexcept {
  DataUnit* unit = nullptr;
  if (previous == nullptr) {
    FrameLocker locker(state_);
    if (locker.Outcome() == FrameLocker::kEmpty) return nullptr;
    if (locker.Outcome() == FrameLocker::kHeld && locker.Lock(*locker.Oldest())) {
      return locker.Oldest();
    }
  } else {
    // Writing moves on from state_.wrap to 0 after state_.wrap is set: read state_.write first, and
    // again behind it.
    int offset = OffsetFromPtr(reinterpret_cast<unsigned char*>(previous)) + previous->UnitSize();
    if (offset == LoadShared(state_.write)) return nullptr;
    if (offset == LoadShared(state_.wrap)) offset = 0;
    if (offset == LoadShared(state_.write)) return nullptr;
    unit = state_.StoredUnit(offset);
    // The unit that the caller holds keeps this one from being evicted.
    if (unit != nullptr && unit->GetLock().Pass(unit->GetLock().Register(false))) return unit;
  }
  syslog(LOG_ERR, " lock failed\n");
  return nullptr;
}

int RingBuffer::ReadFinish(DataUnit* unit) noexcept {
  return unit == nullptr ? -1 : unit->ReadUnlock();
}

int RingBuffer::ConnStatusSet(CAM_CONN_STATUS status) noexcept {
  StoreShared(state_.status, status);
  return 0;
}

int RingBuffer::ConnStatusGet(CAM_CONN_STATUS* status) const noexcept {
  if (status == nullptr) return -1;
  *status = static_cast<CAM_CONN_STATUS>(LoadShared(state_.status));
  return 0;
}

RingBuffer* RingBufferGet(int cameraId) noexcept {
  const int id = shmget(IPCKeyFromCameraId(cameraId), 0, 0);
  if (id == -1) return nullptr;
  watchpost::ShmAttachment attachment(id);
  if (attachment.Get() == nullptr || attachment.Size() < ring::kHeaderSize) return nullptr;
  auto* ring = static_cast<RingBuffer*>(attachment.Get());
  if (!ring->Fits(attachment.Size())) return nullptr;
  (void)attachment.Release();
  return ring;
}

int RingBufferRelease(RingBuffer* ring) noexcept {
  return shmdt(ring);
}

int CameraConnectionStatus(int cameraId) noexcept {
  const int id = shmget(IPCKeyFromCameraId(cameraId), 0, 0);
  if (id == -1) return CAM_CONN_NONE;
  const watchpost::ShmAttachment attachment(id);
  if (attachment.Get() == nullptr || attachment.Size() < ring::kHeaderSize) return CAM_CONN_NONE;
  CAM_CONN_STATUS status = CAM_CONN_NONE;
  (void)static_cast<RingBuffer*>(attachment.Get())->ConnStatusGet(&status);  // fails for null only
  return status;
}
