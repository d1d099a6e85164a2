#include "ipc/ringstate.h"

#include <type_traits>

#include "ipc/ringlayout.h"
#include "ipc/sharedword_internal.h"

namespace watchpost {

static_assert(std::is_standard_layout_v<RingState> && std::is_trivially_copyable_v<RingState>);
static_assert(sizeof(RingState) == ring::kHeaderSize);
static_assert(offsetof(RingState, camera_id) == 0);
static_assert(offsetof(RingState, capacity) == 4);
static_assert(offsetof(RingState, write) == 8);
static_assert(offsetof(RingState, oldest) == 12);
static_assert(offsetof(RingState, latest) == 16);
static_assert(offsetof(RingState, wrap) == 20);
static_assert(offsetof(RingState, status) == 24);
static_assert(offsetof(RingState, semaphores) == 28);

DataUnit* RingState::UnitAt(int offset) noexcept {
  return reinterpret_cast<DataUnit*>(reinterpret_cast<unsigned char*>(this) + ring::kHeaderSize +
                                     offset);
}

int RingState::OffsetOf(const DataUnit* unit) const noexcept {
  return static_cast<int>(reinterpret_cast<const unsigned char*>(unit) -
                          reinterpret_cast<const unsigned char*>(this)) -
         ring::kHeaderSize;
}

DataUnit* RingState::StoredUnit(int offset) noexcept {
  if (offset < 0 || offset > capacity - ring::kUnitHeaderSize || offset % ring::kAlignment != 0)
    return nullptr;
  return UnitAt(offset);
}

int RingState::After(int offset, const DataUnit& unit) const noexcept {
  const int next = offset + unit.UnitSize();
  return next == LoadShared(wrap) ? 0 : next;
}

bool RingState::IsEmpty() const noexcept {
  const int first = LoadShared(oldest);
  const int end = LoadShared(write);  // before `wrap`: the writer sets that first
  return first == end && LoadShared(wrap) == 0;
}

}  // namespace watchpost
