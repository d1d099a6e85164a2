// Sizes in a camera's segment (docs/shared-memory.md).
#pragma once

namespace watchpost::ring {

inline constexpr int kHeaderSize = 44;       ///< bytes in front of the data area
inline constexpr int kUnitHeaderSize = 40;   ///< bytes in front of a frame
inline constexpr int kAlignment = 4;         ///< of units, in bytes
inline constexpr int kGroup = 4;             ///< semaphores of one unit's lock
inline constexpr int kBytesPerGroup = 4096;  ///< of the segment, for one group

/// Bytes that a frame of `size` bytes takes in the data area.
constexpr int UnitSize(int size) {
  return (size + kUnitHeaderSize + kAlignment - 1) / kAlignment * kAlignment;
}

/// Free bytes without which nothing is stored: a fifth of the area, whatever a frame's size is, so
/// that slow readers never let the ring fill to the brim.
constexpr int LeastFree(int capacity) {
  return capacity / 5;
}

/// The largest frame that a segment of `segment_size` bytes has room for whenever LeastFree bytes
/// are free.
constexpr int LargestFrame(int segment_size) {
  return LeastFree(segment_size - kHeaderSize) - kUnitHeaderSize - kAlignment;
}

}  // namespace watchpost::ring
