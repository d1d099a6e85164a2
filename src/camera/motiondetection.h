// Rectangles of a camera's picture in which motion counts, kept in table "motion".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/export.h"
#include "base/pixelregion.h"

/// One named rectangle. Edges are pixels of the camera's picture; neither order nor range is
/// checked.
class WATCHPOST_API MotionRegion {
 public:
  MotionRegion(int left, int top, int right, int bottom, std::string name) noexcept;

  void Set(int left, int top, int right, int bottom, std::string name) noexcept;

  [[nodiscard]] int Left() const noexcept { return left_; }
  [[nodiscard]] int Top() const noexcept { return top_; }
  [[nodiscard]] int Right() const noexcept { return right_; }
  [[nodiscard]] int Bottom() const noexcept { return bottom_; }
  [[nodiscard]] std::string Name() const noexcept { return name_; }

  /// Cuts the name to its first 256 bytes.
  void Validate() noexcept;

  /// Does nothing.
  void Dump() const noexcept {}

 private:
  std::string name_;
  std::int32_t top_ = 0;
  std::int32_t left_ = 0;
  std::int32_t bottom_ = 0;
  std::int32_t right_ = 0;
};

/// The rectangles of one camera, in the order in which they were added.
class WATCHPOST_API MotionDetection {
 public:
  MotionDetection() noexcept = default;

  /// The argument is ignored: starts without regions too.
  explicit MotionDetection(int camera_id) noexcept;

  [[nodiscard]] int RegionCount() const noexcept { return static_cast<int>(regions_.size()); }

  /// Appends a copy. Returns 0.
  int AddRegion(MotionRegion region) noexcept;

  /// The region at `index`, 0 to RegionCount() - 1; any other index ends the process.
  [[nodiscard]] MotionRegion& GetRegion(int index) noexcept;

  /// All regions, without their names.
  [[nodiscard]] std::vector<watchpost::PixelRegion> Rectangles() const;

  /// Removes the region at `index`; later ones move up. Returns 0, or -1 when there is no such
  /// region.
  int DeleteRegion(int index) noexcept;

  /// Removes all regions. Returns 0.
  int ClearAll() noexcept;

  /// Replaces the list with the camera's stored regions, in the order the database gives them.
  /// Returns -1 for a negative id. Returns 0 otherwise, also when the database could not be read,
  /// which leaves the list as it was.
  int Reload(int camera_id) noexcept;

  /// The same, for who must not take what could not be read for no regions: false, with the list as
  /// it was, when the database could not be read.
  [[nodiscard]] bool Read(int camera_id) noexcept;

  /// Replaces the camera's stored regions with the list and cuts over-long names in both. Returns
  /// 0; -1 when nothing was changed or, after a failing insert, only the regions before it are
  /// stored.
  int Save(int camera_id) noexcept;

  /// Removes the camera's stored regions. Returns 0 or -1.
  int Delete(int camera_id) noexcept;

  /// Does nothing.
  void Dump() const noexcept;

 private:
  std::vector<MotionRegion> regions_;
};
