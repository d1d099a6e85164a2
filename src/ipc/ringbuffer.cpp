#include "ipc/ringbuffer.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <syslog.h>

#include <cstddef>
#include <type_traits>
#include <vector>

#include "foundation/log_internal.h"
#include "ipc/framelocker_internal.h"
#include "ipc/semctl_internal.h"
#include "ipc/sharedmemory.h"
#include "ipc/sharedword_internal.h"

namespace {

using watchpost::LoadShared;
using watchpost::StoreShared;

constexpr char kLogSource[] = "ringbuffer";
constexpr int kHeader = 44;
constexpr int kUnitHeader = 40;
constexpr int kAlignment = 4;
constexpr int kGroup = 4;
constexpr int kBytesPerGroup = 4096;

// Every group begins with its counters free, so that a group that is not free is one that somebody
// is at.
bool FreeAllCounters(int set_id, int count) {
  std::vector<unsigned short> values(static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < values.size(); i += kGroup) values[i] = 1;
  watchpost::SemctlArgument argument{};
  argument.array = values.data();
  return semctl(set_id, 0, SETALL, argument) == 0;
}

}  // namespace

void RingBuffer::AssertLayout() {
  static_assert(std::is_standard_layout_v<RingBuffer> && std::is_trivially_copyable_v<RingBuffer>);
  static_assert(sizeof(RingBuffer) == kHeader);
  static_assert(offsetof(RingBuffer, camera_id_) == 0);
  static_assert(offsetof(RingBuffer, capacity_) == 4);
  static_assert(offsetof(RingBuffer, write_) == 8);
  static_assert(offsetof(RingBuffer, oldest_) == 12);
  static_assert(offsetof(RingBuffer, latest_) == 16);
  static_assert(offsetof(RingBuffer, wrap_) == 20);
  static_assert(offsetof(RingBuffer, status_) == 24);
  static_assert(offsetof(RingBuffer, semaphores_) == 28);
}

int RingBuffer::Init(int cameraId, int segmentSize) noexcept {
  camera_id_ = cameraId;
  capacity_ = segmentSize - kHeader;
  for (std::int32_t* word : {&write_, &oldest_, &latest_, &wrap_}) StoreShared(*word, 0);
  StoreShared(status_, CAM_CONN_WAITING);
  const int count = segmentSize / kBytesPerGroup * kGroup;
  const bool made = semaphores_.Init(cameraId, count) == 0;
  if (made && FreeAllCounters(semaphores_.SemSetId(), count)) return 0;
  if (made) (void)semaphores_.Destroy();  // failing is logged
  WP_LOG("Semaphore init failed");
  return -1;
}

bool RingBuffer::Fits(std::size_t segment_size) const noexcept {
  const int capacity = LoadShared(capacity_);
  return capacity >= 0 && static_cast<std::size_t>(capacity) + kHeader <= segment_size;
}

int RingBuffer::Destroy() noexcept {
  if (semaphores_.Destroy() == 0) return 0;
  WP_LOG("Failed to delete semaphore set");
  return 1;
}

DataUnit* RingBuffer::PtrFromOffset(int offset) noexcept {
  return reinterpret_cast<DataUnit*>(reinterpret_cast<unsigned char*>(this) + kHeader + offset);
}

int RingBuffer::OffsetFromPtr(unsigned char* address) noexcept {
  return static_cast<int>(address - reinterpret_cast<unsigned char*>(this)) - kHeader;
}

// The unit at `offset`; null when its header would not lie inside the data area.
DataUnit* RingBuffer::StoredUnit(int offset) noexcept {
  if (offset < 0 || offset > capacity_ - kUnitHeader || offset % kAlignment != 0) return nullptr;
  return PtrFromOffset(offset);
}

// Offset of what comes after the unit at `offset`.
int RingBuffer::After(int offset, DataUnit& unit) noexcept {
  const int next = offset + unit.UnitSize();
  return next == LoadShared(wrap_) ? 0 : next;
}

DataUnit* RingBuffer::WriteAlloc(int size) noexcept {
  while (DeleteOldest() == 1) {
  }
  if (size < 0 || size > capacity_ - kUnitHeader) return nullptr;
  const int needed = (size + kUnitHeader + kAlignment - 1) / kAlignment * kAlignment;
  const int at = write_;
  bool wraps = false;
  int free = 0;
  if (at < oldest_) {
    free = oldest_ - at;
  } else if (needed > capacity_ - at) {
    free = oldest_;
    wraps = true;
  } else {
    free = capacity_ - at + oldest_;
  }
  // A fifth of the area, not what is needed: slow readers must never let the ring fill to the brim.
  if (free < capacity_ / 5) return nullptr;
  if ((wraps ? 0 : at) + needed > capacity_) return nullptr;
  if (wraps) {
    // In this order: who sees that writing has begun at 0 again must see the wrap.
    StoreShared(wrap_, at);
    StoreShared(write_, 0);
  }
  DataUnit* unit = PtrFromOffset(write_);
  const int group = semaphores_.Get();
  if (group < 0) {
    WP_LOG("Unable to allocate semaphore");
    return nullptr;
  }
  if (!Prepare(*unit, size, group)) {
    WP_LOG("DataUnit init failed");
    return nullptr;
  }
  StoreShared(write_, write_ + unit->UnitSize());
  return unit;
}

// Initialises a unit and locks it for writing. Locking fails only when a reader, too late by a
// whole round of the set, is at the counters to find that out; then once more.
bool RingBuffer::Prepare(DataUnit& unit, int size, int group) noexcept {
  constexpr int kTries = 10;
  for (int tried = 0; tried < kTries; ++tried) {
    if (const int error = FrameLocker::Claim(semaphores_.SemSetId(), group); error != 0) {
      // A group without a unit would stay in the way of all behind it.
      if (error == EAGAIN) semaphores_.TakeBack();
      return false;
    }
    if (unit.Init(size, semaphores_.SemSetId(), group) != 0) return false;
    if (unit.WrLock() == 0) return true;
  }
  return false;
}

int RingBuffer::WriteFinish(DataUnit* unit) noexcept {
  if (unit == nullptr) return -1;
  DataUnit* latest = PtrFromOffset(latest_);
  if (latest != unit) StoreShared(latest_, After(latest_, *latest));
  unit->SetTimestamp();
  return unit->WriteUnlock();
}

int RingBuffer::DeleteOldest() noexcept {
  if (oldest_ == write_ && wrap_ == 0) return 0;
  DataUnit* unit = PtrFromOffset(oldest_);
  if (unit->WrLock() != 0) return 0;
  if (After(oldest_, *unit) == write_) {
    (void)unit->WriteUnlock();  // the latest one stays
    return 0;
  }
  const int next = oldest_ + unit->UnitSize();
  if (next == wrap_) {
    StoreShared(oldest_, 0);
    StoreShared(wrap_, 0);
  } else {
    StoreShared(oldest_, next);
  }
  // The group is given back before the lock is: a reader that still sees it as the oldest one then
  // keeps the unit from being overwritten, by keeping its counters.
  const bool freed = semaphores_.Free(unit->GetSemOffset()) == 0;
  (void)unit->WriteUnlock();
  if (!freed) WP_LOG("Free semaphore failed");
  if (unit->Destroy() != 0) WP_LOG("Destroy data unit failed");
  return 1;
}

DataUnit* RingBuffer::ReadLatest() noexcept {
  FrameLocker locker(*this, false);
  if (locker.Outcome() == FrameLocker::kEmpty) return nullptr;
  DataUnit* unit = nullptr;
  if (locker.Outcome() == FrameLocker::kHeld) unit = StoredUnit(LoadShared(latest_));
  if (unit != nullptr && locker.Lock(*unit)) return unit;
  syslog(LOG_ERR, " lock failed\n");
  return nullptr;
}

DataUnit* RingBuffer::ReadNext(DataUnit* previous) noexcept {
  DataUnit* unit = nullptr;
  if (previous == nullptr) {
    FrameLocker locker(*this, true);
    if (locker.Outcome() == FrameLocker::kEmpty) return nullptr;
    if (locker.Outcome() == FrameLocker::kHeld && locker.Lock(*locker.Oldest())) {
      return locker.Oldest();
    }
  } else {
    // Writing moves on from wrap_ to 0 after wrap_ is set: read write_ first, and again behind it.
    int offset = OffsetFromPtr(reinterpret_cast<unsigned char*>(previous)) + previous->UnitSize();
    if (offset == LoadShared(write_)) return nullptr;
    if (offset == LoadShared(wrap_)) offset = 0;
    if (offset == LoadShared(write_)) return nullptr;
    unit = StoredUnit(offset);
    if (unit != nullptr && FrameLocker::LockPinned(*unit)) return unit;
  }
  syslog(LOG_ERR, " lock failed\n");
  return nullptr;
}

int RingBuffer::ReadFinish(DataUnit* unit) noexcept {
  return unit == nullptr ? -1 : unit->ReadUnlock();
}

int RingBuffer::ConnStatusSet(CAM_CONN_STATUS status) noexcept {
  StoreShared(status_, status);
  return 0;
}

int RingBuffer::ConnStatusGet(CAM_CONN_STATUS* status) const noexcept {
  if (status == nullptr) return -1;
  *status = static_cast<CAM_CONN_STATUS>(LoadShared(status_));
  return 0;
}

RingBuffer* RingBufferGet(int cameraId) noexcept {
  const int id = shmget(IPCKeyFromCameraId(cameraId), 0, 0);
  if (id == -1) return nullptr;
  watchpost::ShmAttachment attachment(id);
  if (attachment.Get() == nullptr || attachment.Size() < kHeader) return nullptr;
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
  if (attachment.Get() == nullptr || attachment.Size() < kHeader) return CAM_CONN_NONE;
  CAM_CONN_STATUS status = CAM_CONN_NONE;
  (void)static_cast<RingBuffer*>(attachment.Get())->ConnStatusGet(&status);  // fails for null only
  return status;
}
