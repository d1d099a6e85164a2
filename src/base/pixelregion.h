// A rectangle of a picture.
#pragma once

namespace watchpost {

/// In pixels of the picture, edges inclusive.
struct PixelRegion {
  int left, top, right, bottom;
  bool operator==(const PixelRegion&) const = default;
};

}  // namespace watchpost
