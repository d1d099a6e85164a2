#include "motion/md.h"

#include "media/jpegmemsrc.h"
#include "motion/motionsequence.h"
#include "support/jpegs.h"

namespace {

using Range = std::array<unsigned char, 4>;  // top, left, right, bottom

struct Judgement {
  int status;
  unsigned level;
  bool operator==(const Judgement&) const = default;
};

class Detection {
 public:
  explicit Detection(int sensitivity = 50, bool fast = false) {
    EXPECT_EQ(MD_CreateDetection(&object_), MD_OK);
    EXPECT_EQ(MD_SetMDSensitivity(&object_, sensitivity), MD_OK);
    EXPECT_EQ(MD_EnableFastMD(&object_, fast ? 1 : 0), MD_OK);
  }
  ~Detection() { EXPECT_EQ(MD_FinishDetection(&object_), MD_OK); }
  Detection(const Detection&) = delete;
  Detection& operator=(const Detection&) = delete;

  int Set(Range range) { return MD_SetDetectRange(&object_, range.data()); }
  int Compare(const Jpeg& a, const Jpeg& b) {
    return MD_DetectMotion(&object_,
                           a.data(),
                           static_cast<int>(a.size()),
                           b.data(),
                           static_cast<int>(b.size()),
                           &level_);
  }
  int Next(const Jpeg& picture) {
    return MD_DetectMotionSeq(&object_, picture.data(), static_cast<int>(picture.size()), &level_);
  }
  int End() { return MD_DetectMotionSeq(&object_, nullptr, 0, nullptr); }

  [[nodiscard]] unsigned Level() const { return level_; }
  MD_DETECTION& Object() { return object_; }

  // What the next frame is judged to be.
  [[nodiscard]] Judgement Judge(const Jpeg& picture) {
    const int status = Next(picture);
    return {status, level_};
  }

 private:
  MD_DETECTION object_{};
  unsigned level_ = 77;
};

// The formula once more, cell by cell and coefficient by coefficient.
Judgement PlainJudgement(const Jpeg& first,
                         const Jpeg& second,
                         const std::vector<Range>& ranges,
                         int sensitivity,
                         bool fast) {
  const std::vector<Plane> a = ReadPlanes(first);
  const std::vector<Plane> b = ReadPlanes(second);
  const std::size_t n = a.size();
  const unsigned weights[2][3][3] = {{{100, 0, 0}, {60, 40, 0}, {15, 50, 35}},
                                     {{100, 0, 0}, {60, 40, 0}, {30, 50, 20}}};
  const unsigned divisors[2][3] = {{32 * 8, 8 * 4, 4 * 2}, {32, 8, 4}};
  const auto in_area = [&](std::size_t row, std::size_t column) {
    return row < a[0].blocks.size() && column < a[0].blocks[0].size() &&
           std::any_of(ranges.begin(), ranges.end(), [&](const Range& r) {
             return row >= r[0] && column >= r[1] && column <= r[2] && row <= r[3];
           });
  };
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const auto down = static_cast<std::size_t>(a[0].down / a[i].down);
    const auto across = static_cast<std::size_t>(a[0].across / a[i].across);
    std::uint32_t difference = 0;
    std::uint32_t blocks = 0;
    for (std::size_t row = 0; row < a[i].blocks.size(); ++row) {
      for (std::size_t column = 0; column < a[i].blocks[row].size(); ++column) {
        bool inside = false;
        for (std::size_t y = row * down; y < (row + 1) * down; ++y) {
          for (std::size_t x = column * across; x < (column + 1) * across; ++x)
            inside = inside || in_area(y, x);
        }
        if (!inside) continue;
        ++blocks;
        for (std::size_t k = 0; k < (fast ? 1U : 64U); ++k) {
          const int d = std::abs(b[i].blocks[row][column][k] - a[i].blocks[row][column][k]);
          if (d > 2) difference += static_cast<std::uint32_t>(d) * 8;
        }
      }
    }
    if (blocks == 0) continue;
    const std::uint32_t term = weights[fast][n - 1][i] * difference / (divisors[fast][i] * blocks);
    sum = (sum + (term & 255)) & 255;
  }
  const int status = static_cast<int>(sum) >= 100 - sensitivity ? MD_MOTION : MD_NO_MOTION;
  return {status, std::min(sum, 100U)};
}

JpegKind RandomKind(Random& random) {
  constexpr std::array<std::array<std::array<int, 2>, 4>, 7> kSamplings{{
      {{{2, 2}, {1, 1}, {1, 1}, {1, 1}}},
      {{{2, 1}, {1, 1}, {1, 1}, {1, 1}}},
      {{{1, 2}, {1, 1}, {1, 1}, {1, 1}}},
      {{{1, 1}, {1, 1}, {1, 1}, {1, 1}}},
      {{{4, 1}, {1, 1}, {2, 1}, {1, 1}}},
      {{{1, 1}, {2, 2}, {1, 1}, {1, 1}}},  // a component larger than the first
      {{{2, 2}, {2, 1}, {1, 2}, {1, 1}}},
  }};
  return {.width = 8 + static_cast<int>(random() % 90),
          .height = 8 + static_cast<int>(random() % 70),
          .components = random() % 5 == 0 ? 1 : 3,
          .sampling = kSamplings[random() % kSamplings.size()],
          .quality = 30 + static_cast<int>(random() % 70),
          .progressive = random() % 6 == 0,
          .restart_interval = random() % 4 == 0 ? 1 + random() % 5 : 0};
}

const JpegKind kSmall;

TEST(MotionDetection, JudgesAsThePlainFormulaDoes) {
  Random random(20);
  int motions = 0;
  for (int round = 0; round < 10000; ++round) {
    const JpegKind kind = RandomKind(random);
    const unsigned int seed = random();
    const Jpeg first = MakeJpeg(kind, seed);
    JpegKind other = kind;  // what may differ between comparable pictures
    if (random() % 3 == 0) other.quality = 60;
    const Jpeg second = MakeJpeg(other, random() % 3 == 0 ? seed : random());
    const Plane luma = ReadPlanes(first)[0];
    // A block row or column, from `from` on.
    const auto block = [&random](std::size_t from, std::size_t end) {
      return static_cast<unsigned char>(from + random() % (end - from));
    };
    std::vector<Range> ranges(1 + random() % 3);
    for (Range& range : ranges) {
      const unsigned char top = block(0, luma.blocks.size());
      const unsigned char left = block(0, luma.blocks[0].size());
      range = {top, left, block(left, luma.blocks[0].size()), block(top, luma.blocks.size())};
    }
    const int sensitivity = static_cast<int>(random() % 101);
    const bool fast = random() % 2 == 0;
    const Judgement expected = PlainJudgement(first, second, ranges, sensitivity, fast);

    Detection pair(sensitivity, fast);
    Detection sequence(sensitivity, fast);
    for (const Range& range : ranges) ASSERT_EQ(pair.Set(range) + sequence.Set(range), MD_OK);
    ASSERT_EQ(pair.Compare(first, second), expected.status) << "round " << round;
    ASSERT_EQ(pair.Level(), expected.level) << "round " << round;
    ASSERT_EQ(sequence.Next(first), MD_REFERENCE);
    ASSERT_EQ(sequence.Judge(second), expected) << "round " << round;
    motions += expected.status == MD_MOTION ? 1 : 0;
  }
  EXPECT_GT(motions, 1000);
  EXPECT_LT(motions, 9000);
}

TEST(MotionDetection, RefusesWhatMakesNoSense) {
  Detection detection;
  MD_DETECTION* object = &detection.Object();
  const Jpeg picture = MakeJpeg(kSmall, 1);
  const auto size = static_cast<int>(picture.size());
  const Range range{0, 0, 1, 1};
  unsigned level = 0;
  EXPECT_EQ(detection.Compare(picture, picture), MD_ERR_PARAM) << "no range";
  EXPECT_EQ(detection.Next(picture), MD_ERR_PARAM);
  EXPECT_EQ(detection.Set({2, 0, 1, 1}), MD_ERR_PARAM);
  EXPECT_EQ(detection.Set({0, 2, 1, 1}), MD_ERR_PARAM);
  EXPECT_EQ(MD_SetDetectRange(object, nullptr), MD_ERR_PARAM);
  EXPECT_EQ(MD_SetDetectRange(nullptr, range.data()), MD_ERR_PARAM);
  EXPECT_EQ(MD_RemoveDetectRange(object, nullptr), MD_ERR_PARAM);
  EXPECT_EQ(MD_CreateDetection(nullptr), MD_ERR_PARAM);
  EXPECT_EQ(MD_FinishDetection(nullptr), MD_ERR_PARAM);
  EXPECT_EQ(MD_SetMDSensitivity(object, 101), MD_ERR_PARAM);
  EXPECT_EQ(MD_SetMDSensitivity(object, 256 + 40), MD_OK) << "the low 8 bits count";
  EXPECT_EQ(object->sensitivity, 40);
  EXPECT_EQ(detection.Set(range), MD_OK);
  EXPECT_EQ(detection.End(), MD_ERR_PARAM) << "nothing to end";
  EXPECT_EQ(MD_DetectMotion(object, picture.data(), 0, picture.data(), size, &level), MD_ERR_PARAM);
  EXPECT_EQ(MD_DetectMotion(object, picture.data(), size, nullptr, size, &level), MD_ERR_PARAM);
  EXPECT_EQ(MD_DetectMotion(object, picture.data(), size, picture.data(), size, nullptr),
            MD_ERR_PARAM);
  EXPECT_EQ(MD_DetectMotionSeq(object, picture.data(), 0, &level), MD_ERR_PARAM);
  EXPECT_EQ(MD_FinishDetection(object), MD_OK);
  EXPECT_EQ(detection.Set(range), MD_OK);
  EXPECT_EQ(detection.Compare(picture, picture), MD_ERR_PARAM) << "no workspace any more";
}

TEST(MotionDetection, KeepsItsRangesOnce) {
  Detection detection;
  MD_DETECTION& object = detection.Object();
  const Jpeg picture = MakeJpeg(kSmall, 1);  // 8 by 6 blocks
  const Range whole{0, 0, 7, 5};
  ASSERT_EQ(detection.Set(whole), MD_OK);
  ASSERT_EQ(detection.Compare(picture, picture), MD_NO_MOTION);
  EXPECT_EQ(object.blocks_compared[0], 48U);
  EXPECT_EQ(object.blocks_compared[1], 12U);
  EXPECT_EQ(detection.Set(whole), MD_OK);
  EXPECT_EQ(MD_RemoveDetectRange(&object, Range{0, 0, 1, 1}.data()), MD_OK);
  EXPECT_EQ(object.mask_dirty, 0) << "nothing changed";
  EXPECT_EQ(object.ranges->next, nullptr);
  EXPECT_EQ(detection.Set({0, 0, 8, 5}), MD_OK);
  EXPECT_EQ(detection.Compare(picture, picture), MD_ERR_RANGE);
  EXPECT_EQ(MD_RemoveDetectRange(&object, Range{0, 0, 8, 5}.data()), MD_OK);
  EXPECT_EQ(detection.Compare(picture, picture), MD_NO_MOTION);
  EXPECT_EQ(detection.Level(), 0U);
  EXPECT_EQ(MD_SetMDSensitivity(&object, 100), MD_OK);
  EXPECT_EQ(detection.Compare(picture, picture), MD_MOTION) << "every pair, at 100";
}

TEST(MotionDetection, SequencesGoOnPastWhatCannotBeCompared) {
  Detection detection;
  ASSERT_EQ(detection.Set({0, 0, 1, 1}), MD_OK);
  const Jpeg first = MakeJpeg(kSmall, 1);
  const JpegKind larger{.width = 72};
  const JpegKind four_colours{.components = 4};
  EXPECT_EQ(detection.Next(first), MD_REFERENCE);
  EXPECT_EQ(detection.Next(MakeJpeg(larger, 2)), MD_ERR_INCOMPATIBLE);
  EXPECT_EQ(detection.Next({0xFF, 0xD8, 0xFF}), MD_ERR_JPEG);
  EXPECT_EQ(detection.Judge(first), (Judgement{MD_NO_MOTION, 0})) << "still against the first";
  EXPECT_EQ(detection.End(), MD_REFERENCE);
  EXPECT_EQ(detection.End(), MD_ERR_PARAM);
  EXPECT_EQ(detection.Next(MakeJpeg(four_colours, 1)), MD_REFERENCE);
  EXPECT_EQ(detection.Next(MakeJpeg(four_colours, 2)), MD_ERR_INCOMPATIBLE);
  EXPECT_EQ(detection.Compare(MakeJpeg(four_colours, 1), MakeJpeg(four_colours, 2)),
            MD_ERR_INCOMPATIBLE);
  EXPECT_EQ(detection.Compare(first, MakeJpeg(larger, 2)), MD_ERR_INCOMPATIBLE);
  EXPECT_EQ(detection.Compare(first, first), MD_NO_MOTION);
}

TEST(MotionDetection, TheModeMayChangeWithinASequence) {
  const Jpeg first = MakeJpeg(kSmall, 1);
  const Jpeg second = MakeJpeg(kSmall, 2);
  const std::vector<Range> ranges{{1, 0, 6, 4}};
  Detection detection(50, false);
  ASSERT_EQ(detection.Set(ranges[0]), MD_OK);
  ASSERT_EQ(detection.Next(first), MD_REFERENCE);
  ASSERT_EQ(MD_EnableFastMD(&detection.Object(), 1), MD_OK);
  EXPECT_EQ(detection.Judge(second), PlainJudgement(first, second, ranges, 50, true));
  ASSERT_EQ(MD_EnableFastMD(&detection.Object(), 0), MD_OK);
  const Jpeg third = MakeJpeg(kSmall, 3);
  EXPECT_EQ(detection.Judge(third), PlainJudgement(second, third, ranges, 50, false));
  EXPECT_EQ(detection.Judge(third), (Judgement{MD_NO_MOTION, 0}));
}

TEST(MotionDetection, BrokenPicturesEndInACodeAndLeaveTheNextAlone) {
  const JpegKind tiny{.width = 24, .height = 16};
  const JpegKind progressive{.width = 24, .height = 16, .progressive = true};
  Random random(5);
  for (const JpegKind& kind : {tiny, progressive}) {
    const Jpeg whole = MakeJpeg(kind, 3);
    const Jpeg other = MakeJpeg(kind, 4);
    Detection detection;
    ASSERT_EQ(detection.Set({0, 0, 2, 1}), MD_OK);
    ASSERT_EQ(detection.Next(whole), MD_REFERENCE);
    const Judgement expected = detection.Judge(other);
    const auto check = [&](const Jpeg& broken, std::size_t at) {
      ASSERT_EQ(detection.End(), MD_REFERENCE);
      ASSERT_EQ(detection.Next(whole), MD_REFERENCE);
      const int status = detection.Next(broken);
      ASSERT_NE(status, MD_REFERENCE) << at;
      if (status == MD_MOTION || status == MD_NO_MOTION) {  // it became the reference
        ASSERT_EQ(detection.End(), MD_REFERENCE);
        ASSERT_EQ(detection.Next(whole), MD_REFERENCE);
      }
      ASSERT_EQ(detection.Judge(other), expected) << at;
    };
    for (std::size_t length = 1; length < whole.size(); ++length)
      check(Jpeg(whole.begin(), whole.begin() + static_cast<long>(length)), length);
    for (int round = 0; round < 2000; ++round) {
      Jpeg flipped = whole;
      for (int i = 0; i < 3; ++i)
        flipped[random() % flipped.size()] = static_cast<unsigned char>(random());
      check(flipped, static_cast<std::size_t>(round));
    }
    EXPECT_EQ(detection.Next(Jpeg(whole.begin(), whole.begin() + 100)), MD_ERR_JPEG);
  }
}

TEST(MotionDetection, ManyScansAreNoDamage) {
  const JpegKind kind{.scan_for_each = true};
  const Jpeg first = MakeJpeg(kind, 1);
  const Jpeg second = MakeJpeg(kind, 2);
  Detection detection;
  ASSERT_EQ(detection.Set({1, 0, 6, 4}), MD_OK);
  ASSERT_EQ(detection.Next(first), MD_REFERENCE);
  EXPECT_EQ(detection.Judge(second), PlainJudgement(first, second, {{1, 0, 6, 4}}, 50, false));
}

TEST(MotionDetection, ForgedSizesGetNoMemory) {
  Jpeg forged = MakeJpeg(kSmall, 1);
  const unsigned char start_of_frame[] = {0xFF, 0xC0};
  const auto at = std::search(
      forged.begin(), forged.end(), std::begin(start_of_frame), std::end(start_of_frame));
  ASSERT_NE(at, forged.end());
  std::fill(at + 5, at + 9, static_cast<unsigned char>(0xFD));  // 65021 by 65021
  Detection detection;
  ASSERT_EQ(detection.Set({0, 0, 1, 1}), MD_OK);
  EXPECT_EQ(detection.Next(forged), MD_ERR_JPEG);
  EXPECT_EQ(detection.Compare(forged, forged), MD_ERR_JPEG);
}

TEST(JpegMemSrc, IsMadeOnceAndOffersThePictureAgain) {
  const Jpeg picture = MakeJpeg(kSmall, 1);
  jpeg_decompress_struct decoder;
  JPEG_JUMP_ERROR_MGR errors;
  EXPECT_EQ(SetJpegExit(&decoder, &errors), &errors);
  jpeg_create_decompress(&decoder);
  decoder.src = nullptr;
  JpegMemSrc(&decoder, picture.data(), 10);
  jpeg_source_mgr* source = decoder.src;
  JpegMemSrc(&decoder, picture.data(), static_cast<int>(picture.size()));
  EXPECT_EQ(decoder.src, source);
  EXPECT_EQ(source->bytes_in_buffer, 0U);
  EXPECT_EQ(source->next_input_byte, nullptr);
  EXPECT_EQ(source->fill_input_buffer(&decoder), TRUE);
  source->skip_input_data(&decoder, -5);
  source->skip_input_data(&decoder, 3);
  EXPECT_EQ(source->next_input_byte, picture.data() + 3);
  source->skip_input_data(&decoder, 1L << 40);
  EXPECT_EQ(source->bytes_in_buffer, 0U);
  EXPECT_EQ(source->fill_input_buffer(&decoder), TRUE);
  EXPECT_EQ(source->next_input_byte, picture.data());
  EXPECT_EQ(source->bytes_in_buffer, picture.size());
  jpeg_destroy_decompress(&decoder);
}

TEST(MotionSequence, FollowsSizesAndRegions) {
  const JpegKind larger{.width = 640};
  const auto compare = [](MotionSequence& motion, const JpegKind& kind, unsigned int seed) {
    const Jpeg picture = MakeJpeg(kind, seed);
    return motion.Compare(picture.data(), static_cast<int>(picture.size()));
  };
  MotionSequence whole({}, 50, false);
  EXPECT_FALSE(compare(whole, kSmall, 1).compared);
  EXPECT_TRUE(compare(whole, kSmall, 1).compared);
  EXPECT_TRUE(compare(whole, kSmall, 2).motion);
  EXPECT_FALSE(compare(whole, larger, 1).compared) << "another size is a first picture";
  EXPECT_TRUE(compare(whole, larger, 2).motion);
  whole.Begin();
  EXPECT_FALSE(compare(whole, larger, 1).compared);

  MotionSequence right({{300, 0, 5000, 5000}}, 50, false);
  for (const unsigned int seed : {1U, 2U}) EXPECT_FALSE(compare(right, kSmall, seed).compared);
  EXPECT_FALSE(compare(right, larger, 1).compared);
  EXPECT_TRUE(compare(right, larger, 2).compared) << "the region lies in the larger picture";
  for (const unsigned int seed : {2U, 1U}) EXPECT_FALSE(compare(right, kSmall, seed).compared);
}

}  // namespace
