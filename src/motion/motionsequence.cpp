#include "motion/motionsequence.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace watchpost {
namespace {

constexpr int kBlock = 8;
constexpr int kLastBlock = MotionSequence::kWatchedPixels / kBlock - 1;

using Range = std::array<unsigned char, 4>;
constexpr Range kEverything{0, 0, kLastBlock, kLastBlock};

int BlockOf(int pixel, int last) {
  return std::clamp(pixel / kBlock, 0, last);
}

// The blocks that a region touches, cut to a picture of so many blocks; false when it lies outside.
bool ToRange(const PixelRegion& region, int rows, int columns, Range& range) {
  if (region.right < region.left || region.bottom < region.top || region.right < 0 ||
      region.bottom < 0 || region.left / kBlock >= columns || region.top / kBlock >= rows) {
    return false;
  }
  const int last_row = std::min(rows - 1, kLastBlock);
  const int last_column = std::min(columns - 1, kLastBlock);
  if (region.left / kBlock > last_column || region.top / kBlock > last_row) return false;
  range = {static_cast<unsigned char>(BlockOf(region.top, last_row)),
           static_cast<unsigned char>(BlockOf(region.left, last_column)),
           static_cast<unsigned char>(BlockOf(region.right, last_column)),
           static_cast<unsigned char>(BlockOf(region.bottom, last_row))};
  return true;
}

}  // namespace

MotionSequence::MotionSequence(std::vector<PixelRegion> regions, int sensitivity, bool fast)
    : regions_(regions.empty() ? std::vector<PixelRegion>{{0, 0, INT32_MAX, INT32_MAX}}
                               : std::move(regions)) {
  // Without a detection nothing is ever compared.
  if (MD_CreateDetection(&detection_) != MD_OK) return;
  (void)MD_SetMDSensitivity(&detection_, std::clamp(sensitivity, 0, 100));  // in its range
  (void)MD_EnableFastMD(&detection_, fast ? 1 : 0);                         // not null
  (void)MD_SetDetectRange(&detection_, kEverything.data());  // until a frame shows its size
}

MotionSequence::~MotionSequence() {
  (void)MD_FinishDetection(&detection_);  // not null
}

void MotionSequence::Begin() {
  unsigned level = 0;
  (void)MD_DetectMotionSeq(&detection_, nullptr, 0, &level);  // there may be nothing to end
}

// Sets the ranges for pictures of the size that the detection's mask has. False when none of the
// regions lies in such a picture.
bool MotionSequence::Fit() {
  while (detection_.ranges != nullptr) {
    const MD_RANGE& old = *detection_.ranges;
    const Range range{old.top, old.left, old.right, old.bottom};
    (void)MD_RemoveDetectRange(&detection_, range.data());  // it is there
  }
  for (const PixelRegion& region : regions_) {
    Range range{};
    if (ToRange(region, detection_.mask_rows, detection_.mask_columns, range))
      (void)MD_SetDetectRange(&detection_, range.data());  // one less when memory runs out
  }
  if (detection_.ranges != nullptr) return true;
  (void)MD_SetDetectRange(&detection_, kEverything.data());  // until a frame has another size
  return false;
}

// One step of the sequence. Some cameras leave the end marker out, without which a JPEG is refused:
// it is added to a copy then.
int MotionSequence::Detect(const unsigned char* frame, int size, unsigned& level) {
  const int status = MD_DetectMotionSeq(&detection_, frame, size, &level);
  if (status != MD_ERR_JPEG || size <= 0) return status;
  completed_.assign(frame, frame + size);
  completed_.insert(completed_.end(), {0xFF, 0xD9});
  return MD_DetectMotionSeq(
      &detection_, completed_.data(), static_cast<int>(completed_.size()), &level);
}

MotionResult MotionSequence::Compare(const unsigned char* frame, int size) {
  const auto rows = detection_.mask_rows;
  const auto columns = detection_.mask_columns;
  unsigned level = 0;
  int status = Detect(frame, size, level);
  if (status == MD_ERR_INCOMPATIBLE) {
    Begin();
    status = Detect(frame, size, level);
  }
  const bool resized = detection_.mask_rows != rows || detection_.mask_columns != columns;
  MotionResult result{};
  if (status == MD_ERR_RANGE || (status == MD_REFERENCE && (resized || !fitted_))) {
    Begin();
    fitted_ = Fit();
    result.outside = !fitted_;
    if (fitted_) status = Detect(frame, size, level);
  }
  result.clipped =
      detection_.mask_rows > kLastBlock + 1 || detection_.mask_columns > kLastBlock + 1;
  if (result.outside) return result;
  result.compared = status == MD_MOTION || status == MD_NO_MOTION;
  result.broken = !result.compared && status != MD_REFERENCE;
  if (result.compared) result.level = static_cast<int>(level);
  result.motion = status == MD_MOTION;
  return result;
}

}  // namespace watchpost
