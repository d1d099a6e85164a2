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

// libjpeg keeps the tables of the picture before; a comparison must not depend on what both read
// earlier, so that its decoders are new ones. The scanner stays, as in an engine.
class DcComparison {
 public:
  DcAgreement Compare(const unsigned char* picture, int size) {
    Decoder scanned(scanner_);
    Decoder whole(scanner_);
    return scanned.created && whole.created ? Compare(scanned.its, whole.its, picture, size)
                                            : DcAgreement::kLeft;
  }

 private:
  struct Decoder {
    explicit Decoder(DcScanner& scanner) : created(CreateDecoder(its, scanner)) {}
    ~Decoder() { DestroyDecoder(its); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    MD_DECODER its{};
    bool created;
  };

  DcAgreement Compare(MD_DECODER& scanned,
                      MD_DECODER& whole,
                      const unsigned char* picture,
                      int size) {
    if (!ReadHeader(scanned, picture, size) || !MakeRoomForDc(scanned) ||
        !scanner_.Scan(scanned.info, scanned.dc))
      return DcAgreement::kLeft;
    if (!ReadHeader(whole, picture, size) || ReadCoefficients(whole, false) != MD_OK ||
        CopyDc(whole) != MD_OK)
      return DcAgreement::kDiffers;
    whole.open = 1;
    if (!FinishPicture(whole)) return DcAgreement::kDiffers;
    std::size_t blocks = 0;
    for (int i = 0; i < whole.shape.count; ++i)
      blocks += std::size_t{whole.shape.components[i].rows} * whole.shape.components[i].columns;
    return std::equal(whole.dc, whole.dc + blocks, scanned.dc) ? DcAgreement::kScanned
                                                               : DcAgreement::kDiffers;
  }

  DcScanner scanner_;
};

}  // namespace watchpost::test
