#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

#include "event/eventutils.h"
#include "motion/mdlog.h"
#include "support/tempdir.h"

using watchpost::test::TempDir;

namespace {

struct Case {
  const char* what;
  long start, stop;
  std::string levels;  // a digit a frame, tens of a level
  int sensitivity;     // 0: not told
  int interval;
  int slots;  // wanted
  std::string flags;
};

TEST(MotionTimeline, CutsFramesIntoSlotsOfTheClock) {
  const Case cases[] = {
      {"a slot a frame", 100, 103, "0506", 50, 0, 4, "0101"},
      {"the threshold is 100 less the sensitivity", 100, 103, "0506", 49, 0, 4, "0001"},
      {"no sensitivity: everything is motion", 100, 103, "0000", 0, 0, 4, "1111"},
      {"aligned slots", 100, 110, "0090000000", 50, 5, 2, "10"},
      {"a partial slot first and last", 103, 113, "0900000009", 50, 5, 3, "101"},
      {"one slot only", 101, 104, "090", 50, 5, 1, "1"},
      {"more slots than frames", 100, 110, "9", 50, 1, 10, "0000000000"},
  };
  for (const Case& c : cases) {
    const TempDir dir;
    {
      MDLog log(dir / "a.avi", c.sensitivity);
      for (const char level : c.levels) ASSERT_EQ(log.WriteLevel((level - '0') * 10), 0);
    }
    Event event(1, 8, 8, EVENT_CAUSE_MOTION, "a.avi");
    event.SetStartTime(c.start);
    event.SetEndTime(c.stop);
    event.SetFrameCount(static_cast<int>(c.levels.size()));
    std::string flags(16, '\0');
    auto* raw = reinterpret_cast<unsigned char*>(flags.data());
    EXPECT_EQ(GetMotionLevel(event, dir.Path(), c.interval, raw, 16), c.slots) << c.what;
    std::string digits;
    for (int i = 0; i < c.slots; ++i)
      digits += static_cast<char>('0' + flags[static_cast<std::size_t>(i)]);
    EXPECT_EQ(digits, c.flags) << c.what;
    EXPECT_EQ(GetMotionLevel(event, dir.Path(), c.interval, raw, c.slots - 1), -1)
        << c.what << ": too many slots";
  }
}

// The slots once more, frame by frame: which slot does it lie in?
std::string PlainTimeline(
    long start, long stop, const std::string& levels, int threshold, int interval) {
  const long duration = stop - start;
  const long frames = static_cast<long>(levels.size());
  long slots = 0;
  for (long at = start; at < stop; at = (at / interval + 1) * interval) ++slots;
  std::string flags(static_cast<std::size_t>(slots), '0');
  const long first_end = (interval - start % interval) * frames / duration;
  const long step = frames * interval / duration;
  for (long frame = 0; frame < frames; ++frame) {
    long slot = 0;
    for (long end = first_end; frame >= end && slot < slots; end += step) ++slot;
    if (slot < slots &&
        static_cast<unsigned char>(levels[static_cast<std::size_t>(frame)]) >= threshold)
      flags[static_cast<std::size_t>(slot)] = '1';
  }
  return flags;
}

TEST(MotionTimeline, IsThatOfAPlainSecondComputation) {
  std::mt19937 random(6);
  const TempDir dir;
  for (int round = 0; round < 2000; ++round) {
    const auto start = static_cast<long>(random() % 100000);
    const long stop = start + 1 + static_cast<long>(random() % 4000);
    const int interval = 1 + static_cast<int>(random() % 300);
    const int sensitivity = static_cast<int>(random() % 101);
    std::string levels(random() % 3000, '\0');
    for (char& level : levels) level = static_cast<char>(random() % 20 == 0 ? random() % 101 : 0);
    {
      MDLog log(dir / "a.avi", sensitivity);
      for (const char level : levels) ASSERT_EQ(log.WriteLevel(level), 0);
    }
    Event event(1, 8, 8, EVENT_CAUSE_MOTION, "a.avi");
    event.SetStartTime(start);
    event.SetEndTime(stop);
    event.SetFrameCount(static_cast<int>(levels.size()));
    std::string flags(5000, '\0');
    const int slots = GetMotionLevel(
        event, dir.Path(), interval, reinterpret_cast<unsigned char*>(flags.data()), 5000);
    std::string digits;
    for (int i = 0; i < slots; ++i)
      digits += static_cast<char>('0' + flags[static_cast<std::size_t>(i)]);
    const int threshold = sensitivity > 0 ? 100 - sensitivity : 0;
    ASSERT_EQ(digits, PlainTimeline(start, stop, levels, threshold, interval)) << round;
    (void)std::filesystem::remove_all(dir / "@eaDir");
  }
}

TEST(MotionTimeline, RefusesRecordingsWithoutDuration) {
  Event event(1, 8, 8, EVENT_CAUSE_MOTION, "a.avi");
  event.SetStartTime(100);
  event.SetEndTime(100);
  unsigned char flags[4] = {};
  EXPECT_EQ(GetMotionLevel(event, "/", 5, flags, 4), -1);
  EXPECT_EQ(GetMotionLevel(event, "/", -1, flags, 4), -1);
  EXPECT_EQ(GetMotionLevel(event, "/", 0, flags, 0), -1);
}

}  // namespace
