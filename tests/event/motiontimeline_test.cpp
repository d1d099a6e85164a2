#include "event/eventutils.h"
#include "motion/mdlog.h"
#include "support/test.h"

namespace {

// The flags of a recording with these levels, a digit a slot; "refused" when they are no more than
// `room`.
std::string Timeline(long start,
                     long stop,
                     const std::string& levels,
                     int sensitivity,
                     int interval,
                     int room = 5000) {
  const TempDir dir;
  {
    MDLog log(dir / "a.avi", sensitivity);
    for (const char level : levels) EXPECT_EQ(log.WriteLevel(level), 0);
  }
  Event event(1, 8, 8, EVENT_CAUSE_MOTION, "a.avi");
  event.SetStartTime(start);
  event.SetEndTime(stop);
  event.SetFrameCount(static_cast<int>(levels.size()));
  std::vector<unsigned char> flags(5000);
  const int slots = GetMotionLevel(event, dir.Path(), interval, flags.data(), room);
  if (slots < 0) return "refused";
  std::string digits;
  for (std::size_t i = 0; i < static_cast<std::size_t>(slots); ++i)
    digits += static_cast<char>('0' + flags[i]);
  return digits;
}

TEST(MotionTimeline, CutsFramesIntoSlotsOfTheClock) {
  const struct {
    long start, stop;
    std::string levels;  // a digit a frame, tens of a level
    int sensitivity;     // 0: not known
    int interval;
    std::string flags;
  } cases[] = {
      {100, 103, "0506", 50, 0, "0101"},       // a slot a frame
      {100, 103, "0506", 49, 0, "0001"},       // the threshold is 100 less the sensitivity
      {100, 103, "0000", 0, 0, "1111"},        // no sensitivity: everything is motion
      {100, 110, "0090000000", 50, 5, "10"},   // aligned slots
      {103, 113, "0900000009", 50, 5, "101"},  // a partial slot first and last
      {101, 104, "090", 50, 5, "1"},           // one slot only
      {100, 110, "9", 50, 1, "0000000000"},    // more slots than frames
  };
  for (const auto& c : cases) {
    std::string levels = c.levels;
    for (char& level : levels) level = static_cast<char>((level - '0') * 10);
    const int slots = static_cast<int>(c.flags.size());
    EXPECT_EQ(Timeline(c.start, c.stop, levels, c.sensitivity, c.interval), c.flags) << c.levels;
    EXPECT_EQ(Timeline(c.start, c.stop, levels, c.sensitivity, c.interval, slots), c.flags);
    EXPECT_EQ(Timeline(c.start, c.stop, levels, c.sensitivity, c.interval, slots - 1), "refused");
  }
}

// The slots once more, frame by frame: which slot does it lie in?
std::string PlainTimeline(
    long start, long stop, const std::string& levels, int threshold, int interval) {
  const long duration = stop - start;
  const long frames = static_cast<long>(levels.size());
  std::string flags;
  for (long at = start; at < stop; at = (at / interval + 1) * interval) flags += '0';
  const long first_end = (interval - start % interval) * frames / duration;
  const long step = frames * interval / duration;
  for (long frame = 0; frame < frames; ++frame) {
    std::size_t slot = 0;
    for (long end = first_end; frame >= end && slot < flags.size(); end += step) ++slot;
    const char level = levels[static_cast<std::size_t>(frame)];
    if (slot < flags.size() && static_cast<unsigned char>(level) >= threshold) flags[slot] = '1';
  }
  return flags;
}

TEST(MotionTimeline, IsThatOfAPlainSecondComputation) {
  std::mt19937 random(6);
  for (int round = 0; round < 2000; ++round) {
    const auto start = static_cast<long>(random() % 100000);
    const long stop = start + 1 + static_cast<long>(random() % 4000);
    const int interval = 1 + static_cast<int>(random() % 300);
    const int sensitivity = static_cast<int>(random() % 101);
    std::string levels(random() % 3000, '\0');
    for (char& level : levels) level = static_cast<char>(random() % 20 == 0 ? random() % 101 : 0);
    const int threshold = sensitivity > 0 ? 100 - sensitivity : 0;
    ASSERT_EQ(Timeline(start, stop, levels, sensitivity, interval),
              PlainTimeline(start, stop, levels, threshold, interval))
        << round;
  }
}

TEST(MotionTimeline, RefusesRecordingsWithoutDuration) {
  for (const int interval : {5, -1}) EXPECT_EQ(Timeline(100, 100, "", 50, interval), "refused");
  EXPECT_EQ(Timeline(100, 100, "", 50, 0, 0), "refused");
}

}  // namespace
