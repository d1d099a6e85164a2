// The header of a camera's segment: what stands where in the data area behind it. Process-shared;
// the recorder alone writes it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/export.h"
#include "ipc/dataunit.h"
#include "ipc/semmgr.h"

namespace watchpost {

/// The words of the header, 44 bytes (docs/shared-memory.md). Offsets count from the data area's
/// first byte.
struct WATCHPOST_API RingState {
  /// The unit at an offset of the data area, without a check.
  DataUnit* UnitAt(int offset) noexcept;
  [[nodiscard]] int OffsetOf(const DataUnit* unit) const noexcept;

  /// The unit at `offset`; null when its header would not lie inside the data area.
  DataUnit* StoredUnit(int offset) noexcept;

  /// Offset of what comes after the unit at `offset`.
  [[nodiscard]] int After(int offset, const DataUnit& unit) const noexcept;

  /// Whether no unit has ever been stored, or is just being stored as the first.
  [[nodiscard]] bool IsEmpty() const noexcept;

  std::int32_t camera_id;
  std::int32_t capacity;  ///< of the data area, in bytes
  std::int32_t write;
  std::int32_t oldest;
  std::int32_t latest;
  std::int32_t wrap;  ///< where the stored data ends and goes on at 0; 0 while it does not
  std::int32_t status;
  SemMgr semaphores;
};

}  // namespace watchpost
