// Whether the DC scanner and libjpeg read the same from a picture.
#pragma once

#include <algorithm>
#include <cstddef>

#include "motion/md.h"
#include "motion/mddecoder_internal.h"

namespace watchpost::test {

enum class DcAgreement {
  kScanned,  ///< the scanner read the picture, and libjpeg the same from it
  kLeft,     ///< the scanner left it to libjpeg
  kDiffers,  ///< the scanner read what libjpeg refuses, or something else
};

class DcComparison {
 public:
  DcComparison() {
    created_ = CreateDecoder(scanned_, scanner_) && CreateDecoder(whole_, scanner_);
  }
  ~DcComparison() {
    DestroyDecoder(scanned_);
    DestroyDecoder(whole_);
  }
  DcComparison(const DcComparison&) = delete;
  DcComparison& operator=(const DcComparison&) = delete;

  DcAgreement Compare(const unsigned char* picture, int size) {
    const DcAgreement agreement = created_ ? Read(picture, size) : DcAgreement::kLeft;
    AbortPicture(scanned_);
    AbortPicture(whole_);
    return agreement;
  }

 private:
  DcAgreement Read(const unsigned char* picture, int size) {
    if (!ReadHeader(scanned_, picture, size) || !MakeRoomForDc(scanned_) ||
        !scanner_.Scan(scanned_.info, scanned_.dc))
      return DcAgreement::kLeft;
    if (!ReadHeader(whole_, picture, size) || ReadCoefficients(whole_, false) != MD_OK ||
        CopyDc(whole_) != MD_OK)
      return DcAgreement::kDiffers;
    whole_.open = 1;
    if (!FinishPicture(whole_)) return DcAgreement::kDiffers;
    std::size_t blocks = 0;
    for (int i = 0; i < whole_.shape.count; ++i)
      blocks += std::size_t{whole_.shape.components[i].rows} * whole_.shape.components[i].columns;
    return std::equal(whole_.dc, whole_.dc + blocks, scanned_.dc) ? DcAgreement::kScanned
                                                                  : DcAgreement::kDiffers;
  }

  DcScanner scanner_;
  MD_DECODER scanned_{};
  MD_DECODER whole_{};
  bool created_ = false;
};

}  // namespace watchpost::test
