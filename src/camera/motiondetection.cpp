#include "camera/motiondetection.h"

#include <utility>

#include "base/utils.h"
#include "database/statement.h"
#include "database/textlimits_internal.h"
#include "database/wpdb.h"

using watchpost::Row;

MotionRegion::MotionRegion(int left, int top, int right, int bottom, std::string name) noexcept {
  Set(left, top, right, bottom, std::move(name));
}

void MotionRegion::Set(int left, int top, int right, int bottom, std::string name) noexcept {
  left_ = left;
  top_ = top;
  right_ = right;
  bottom_ = bottom;
  name_ = std::move(name);
}

void MotionRegion::Validate() noexcept {
  watchpost::CutText(name_, watchpost::kLongestName);
}

MotionDetection::MotionDetection(int /*camera_id*/) noexcept {}

int MotionDetection::AddRegion(MotionRegion region) noexcept {
  regions_.push_back(std::move(region));
  return 0;
}

MotionRegion& MotionDetection::GetRegion(int index) noexcept {
  return regions_.at(static_cast<std::size_t>(index));
}

std::vector<watchpost::PixelRegion> MotionDetection::Rectangles() const {
  std::vector<watchpost::PixelRegion> rectangles;
  for (const MotionRegion& region : regions_)
    rectangles.push_back({region.Left(), region.Top(), region.Right(), region.Bottom()});
  return rectangles;
}

int MotionDetection::DeleteRegion(int index) noexcept {
  if (index < 0 || index >= RegionCount()) return -1;
  regions_.erase(regions_.begin() + index);
  return 0;
}

int MotionDetection::ClearAll() noexcept {
  regions_.clear();
  return 0;
}

int MotionDetection::Reload(int camera_id) noexcept {
  if (camera_id < 0) return -1;
  (void)Read(camera_id);  // what cannot be read leaves the list as it was
  return 0;
}

bool MotionDetection::Read(int camera_id) noexcept {
  const watchpost::ResultPtr result = watchpost::Query(
      std::string("SELECT * FROM ") + gszTableMotion + " WHERE camera_id = " + itos(camera_id));
  if (result == nullptr) return false;
  regions_.clear();
  watchpost::RowCursor rows(result.get());
  while (rows.Next()) {
    const Row row = rows.Get();
    regions_.emplace_back(
        row.Int("m_left"), row.Int("top"), row.Int("m_right"), row.Int("bottom"), row.Text("name"));
  }
  return true;
}

int MotionDetection::Save(int camera_id) noexcept {
  if (Delete(camera_id) != 0) return -1;
  for (MotionRegion& region : regions_) {
    region.Validate();
    const watchpost::Statement statement = watchpost::FormatStatement(
        "INSERT INTO motion (camera_id, name, top, bottom, m_left, m_right) VALUES (%d, '%s', %d, "
        "%d, %d, %d)",
        camera_id,
        WPDBEscapeString(region.Name()).c_str(),
        region.Top(),
        region.Bottom(),
        region.Left(),
        region.Right());
    if (watchpost::ExecuteStatement(statement) != 0) return -1;
  }
  return 0;
}

int MotionDetection::Delete(int camera_id) noexcept {
  return WPDBExecute(std::string("DELETE FROM ") + gszTableMotion +
                     " WHERE camera_id = " + itos(camera_id));
}

void MotionDetection::Dump() const noexcept {
  for (const MotionRegion& region : regions_) region.Dump();
}
