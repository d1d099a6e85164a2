#include "motion/mdmask_internal.h"

#include <algorithm>
#include <new>

namespace watchpost {
namespace {

constexpr int kMostComponents = 3;

// New cells are all outside the area.
bool CalROIMaskSize(MD_DETECTION& detection, int rows, int columns) {
  FreeMask(detection);
  auto** mask = new (std::nothrow) unsigned char*[static_cast<std::size_t>(rows)];
  if (mask == nullptr) return false;
  const std::size_t cells = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
  mask[0] = new (std::nothrow) unsigned char[cells]();
  if (mask[0] == nullptr) {
    delete[] mask;
    return false;
  }
  for (int row = 1; row < rows; ++row) mask[row] = mask[row - 1] + columns;
  detection.mask = mask;
  detection.mask_rows = static_cast<std::uint16_t>(rows);
  detection.mask_columns = static_cast<std::uint16_t>(columns);
  return true;
}

int MarkMaskFromList(MD_DETECTION& detection) {
  for (const MD_RANGE* range = detection.ranges; range != nullptr; range = range->next) {
    if (range->right >= detection.mask_columns || range->bottom >= detection.mask_rows)
      return MD_ERR_RANGE;
    for (int row = range->top; row <= range->bottom; ++row)
      std::fill(detection.mask[row] + range->left, detection.mask[row] + range->right + 1, 1);
  }
  return MD_OK;
}

// Cells outside the mask count as outside the area; chroma of odd sizes reaches there.
bool IsInROI(const MD_DETECTION& detection,
             const MD_AREA& area,
             unsigned int row,
             unsigned int column) {
  if (row * area.cell_rows > detection.mask_rows ||
      column * area.cell_columns > detection.mask_columns)
    return false;
  const unsigned int bottom =
      std::min<unsigned int>((row + 1) * area.cell_rows, detection.mask_rows);
  const unsigned int right =
      std::min<unsigned int>((column + 1) * area.cell_columns, detection.mask_columns);
  for (unsigned int y = row * area.cell_rows; y < bottom; ++y) {
    for (unsigned int x = column * area.cell_columns; x < right; ++x) {
      if (detection.mask[y][x] != 0) return true;
    }
  }
  return false;
}

// What an area has to be made for: size of the component, and its sampling beside the first one's.
MD_AREA AreaFor(const MD_SHAPE& picture, int component) {
  const MD_SHAPE::Component& first = picture.components[0];
  const MD_SHAPE::Component& other = picture.components[component];
  return {nullptr,
          0,
          other.rows,
          other.columns,
          static_cast<std::uint32_t>(first.down / other.down),
          static_cast<std::uint32_t>(first.across / other.across)};
}

bool IsAreaOf(const MD_AREA& area, const MD_SHAPE& picture, int component) {
  const MD_AREA wanted = AreaFor(picture, component);
  return area.runs != nullptr && area.rows == wanted.rows && area.columns == wanted.columns &&
         area.cell_rows == wanted.cell_rows && area.cell_columns == wanted.cell_columns;
}

// Calls `use(run)` for every run of the area.
template <typename Use>
void ForEachRun(const MD_DETECTION& detection, const MD_AREA& area, Use use) {
  for (std::uint32_t row = 0; row < area.rows; ++row) {
    for (std::uint32_t begin = 0; begin < area.columns; ++begin) {
      if (!IsInROI(detection, area, row, begin)) continue;
      std::uint32_t end = begin + 1;
      while (end < area.columns && IsInROI(detection, area, row, end)) ++end;
      use(MD_RUN{row, begin, end});
      begin = end;
    }
  }
}

bool MakeArea(const MD_DETECTION& detection,
              MD_AREA& area,
              const MD_SHAPE& picture,
              int component) {
  delete[] area.runs;
  area = AreaFor(picture, component);
  std::size_t count = 0;
  ForEachRun(detection, area, [&count](const MD_RUN& /*run*/) { ++count; });
  area.runs = new (std::nothrow) MD_RUN[count];
  if (area.runs == nullptr) return false;
  ForEachRun(detection, area, [&area](const MD_RUN& run) { area.runs[area.count++] = run; });
  return true;
}

}  // namespace

void FreeAreas(MD_AREA (&areas)[3]) noexcept {
  for (MD_AREA& area : areas) {
    delete[] area.runs;
    area = {};
  }
}

void FreeMask(MD_DETECTION& detection) noexcept {
  if (detection.mask != nullptr) delete[] detection.mask[0];
  delete[] detection.mask;
  detection.mask = nullptr;
  detection.mask_rows = 0;
  detection.mask_columns = 0;
}

int UpdateMask(MD_DETECTION& detection, MD_AREA (&areas)[3], const MD_SHAPE& picture) noexcept {
  const auto rows = static_cast<int>(picture.components[0].rows);
  const auto columns = static_cast<int>(picture.components[0].columns);
  const bool rebuild =
      detection.mask_dirty != 0 || detection.mask_rows != rows || detection.mask_columns != columns;
  if (rebuild) {
    detection.mask_dirty = 1;
    if (!CalROIMaskSize(detection, rows, columns)) return MD_ERR_MEMORY;
    if (const int status = MarkMaskFromList(detection); status != MD_OK) return status;
    FreeAreas(areas);
  }
  for (int i = 0; i < std::min(picture.count, kMostComponents); ++i) {
    MD_AREA& area = areas[i];
    if (!rebuild && IsAreaOf(area, picture, i)) continue;
    if (!MakeArea(detection, area, picture, i)) {
      detection.mask_dirty = 1;
      return MD_ERR_MEMORY;
    }
  }
  detection.mask_dirty = 0;
  return MD_OK;
}

}  // namespace watchpost
