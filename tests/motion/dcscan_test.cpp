// WATCHPOST_PICTURES says how many random pictures are compared, WATCHPOST_FLIPS how many times a
// bit is flipped.
#include <map>

#include "media/jpegmemsrc.h"
#include "motion/dcagreement.h"
#include "support/jpegs.h"

namespace {

int Setting(const char* name, int otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::atoi(text);
}

JpegKind RandomKind(Random& random) {
  const auto factor = [&] { return 1 + static_cast<int>(random() % 2); };
  const auto sampling = [&] { return std::array{factor(), factor()}; };
  return {.width = 1 + static_cast<int>(random() % 120),
          .height = 1 + static_cast<int>(random() % 90),
          .components = random() % 4 == 0 ? 1 : 3,
          .sampling = {sampling(), sampling(), {1, 1}, {1, 1}},
          .quality = 1 + static_cast<int>(random() % 100),
          .restart_interval = random() % 3 == 0 ? 1 + random() % 9 : 0,
          .optimised = random() % 2 == 0};
}

class DcScan : public ::testing::Test {
 protected:
  DcScan() { MuteJpegMessages(); }
  DcAgreement Compare(const Jpeg& jpeg) {
    // Of its own size, so that a sanitizer sees a read beyond it.
    return comparison_.Compare(jpeg.data(), static_cast<int>(jpeg.size()));
  }
  DcComparison comparison_;
  Random random_{20};
};

TEST_F(DcScan, ReadsWhatLibjpegReads) {
  const int pictures = Setting("WATCHPOST_PICTURES", 2000);
  for (int i = 0; i < pictures; ++i) {
    const JpegKind kind = RandomKind(random_);
    ASSERT_EQ(Compare(MakeJpeg(kind, random_())), DcAgreement::kScanned)
        << i << ": " << kind.width << "x" << kind.height;
  }
}

TEST_F(DcScan, LeavesWhatIsNoneOfItsKindOrCutShort) {
  EXPECT_EQ(Compare(MakeJpeg({.progressive = true}, 1)), DcAgreement::kLeft);
  EXPECT_EQ(Compare(MakeJpeg({.components = 4}, 1)), DcAgreement::kScanned);
  for (const unsigned restart : {0U, 3U}) {
    Jpeg jpeg = MakeJpeg({.restart_interval = restart}, 2);
    while (!jpeg.empty()) {
      jpeg.pop_back();
      jpeg.shrink_to_fit();
      ASSERT_EQ(Compare(jpeg), DcAgreement::kLeft) << jpeg.size();
    }
  }
}

TEST_F(DcScan, AgreesOnDamagedPictures) {
  const int flips = Setting("WATCHPOST_FLIPS", 40000);
  std::map<DcAgreement, int> seen;
  for (int i = 0; i < flips;) {
    const Jpeg whole = MakeJpeg(RandomKind(random_), random_());
    for (int k = 0; k < 500 && i < flips; ++k, ++i) {
      Jpeg jpeg = whole;
      jpeg[random_() % jpeg.size()] ^= static_cast<unsigned char>(1U << random_() % 8);
      const DcAgreement agreement = Compare(jpeg);
      ASSERT_NE(agreement, DcAgreement::kDiffers) << i;
      ++seen[agreement];
    }
  }
  EXPECT_GT(seen[DcAgreement::kScanned], flips / 20);
  EXPECT_GT(seen[DcAgreement::kLeft], flips / 20);
}

}  // namespace
