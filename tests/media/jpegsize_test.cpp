#include "media/jpegsize.h"
#include "support/test.h"

namespace {

std::optional<PictureSize> SizeOf(const std::string& bytes) {
  // A copy of its own size lets the sanitizer see a read past the end.
  const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
  return ReadJpegSize(exact.data(), exact.size());
}

const std::string kStart("\xFF\xD8", 2);
const std::string kSegment("\xFF\xE0\0\x04xy", 6);
const std::string kFrame("\xFF\xC0\0\x11\x08\x01\xE0\x02\x80\x03", 10);
const std::string kTables("\xFF\xC4\0\x05\1\2\3", 7);

TEST(JpegSize, IsFoundBehindOtherMarkers) {
  for (const std::string& bytes : {kStart + kFrame,
                                   kStart + kSegment + kTables + kFrame,
                                   kStart + "\xFF\xFF\xFF" + kFrame.substr(1),
                                   kStart + std::string("\xFF\x01", 2) + kFrame,
                                   kStart + "\xFF\xC2" + kFrame.substr(2)}) {
    ASSERT_TRUE(SizeOf(bytes));
    EXPECT_EQ(*SizeOf(bytes), (PictureSize{640, 480}));
  }
}

TEST(JpegSize, IsNotInventedForOtherBytes) {
  const std::string whole = kStart + kSegment + kFrame;
  for (std::size_t length = 0; length + 1 < whole.size(); ++length)
    EXPECT_FALSE(SizeOf(whole.substr(0, length)));
  EXPECT_FALSE(SizeOf("not a picture at all"));
  EXPECT_FALSE(SizeOf(kStart + std::string("\xFF\xDA\0\x02", 4) + kFrame))
      << "a scan before its frame";
  EXPECT_FALSE(SizeOf(kStart + std::string("\xFF\xE0\xFF\xFF", 4) + kFrame))
      << "a segment past the end";
  EXPECT_FALSE(SizeOf(kStart + std::string("\xFF\xE0\0\0", 4) + kFrame))
      << "a segment shorter than its length";
  EXPECT_FALSE(SizeOf(kStart + std::string("\xFF\xC0\0\x11\x08\0\0\x02\x80\x03", 10)))
      << "no height";
}

}  // namespace
