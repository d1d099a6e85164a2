#include "timetext.h"

#include <gtest/gtest.h>

#include <ctime>

#include "support/tempdir.h"

namespace {

TEST(TimeText, UnderstandsWhatPeopleWrite) {
  const watchpost::test::ScopedEnv zone("TZ", "Europe/Berlin");
  tzset();
  constexpr long kNow = 1774753200;  // Sunday 2026-03-29 05:00, the day that summer time begins
  constexpr long kMidnight = 1774738800;
  const struct {
    const char* text;
    long seconds;
    long end_of_day;
  } cases[] = {
      {"now", kNow, kNow},
      {"today", kMidnight, kMidnight + 23 * 3600 - 1},
      {"yesterday", kMidnight - 86400, kMidnight - 1},
      {"2026-03-29", kMidnight, kMidnight + 23 * 3600 - 1},
      {"yesterday 14:00", kMidnight - 36000, kMidnight - 36000},
      {"2026-03-29 04:30:05", kMidnight + 3 * 3600 + 1805, kMidnight + 3 * 3600 + 1805},
      {"04:30", kMidnight + 3 * 3600 + 1800, kMidnight + 3 * 3600 + 1800},
      {"90m ago", kNow - 5400, kNow - 5400},
      {"2d ago", kNow - 172800, kNow - 172800},
      {"@12345", 12345, 12345},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(wpctl::ParseTime(row.text, kNow, false), row.seconds) << row.text;
    EXPECT_EQ(wpctl::ParseTime(row.text, kNow, true), row.end_of_day) << row.text;
  }
  for (const char* text : {"",
                           "noon",
                           "25:00",
                           "12:60",
                           "2026-13-01",
                           "2026-03-29 ",
                           "5x ago",
                           "@",
                           "@1x",
                           "12:00 today",
                           "2026-03-29T12:00",
                           "-5m ago"}) {
    EXPECT_FALSE(wpctl::ParseTime(text, kNow, false)) << text;
  }
}

TEST(TimeText, ShowsMomentsOnTheLocalClock) {
  const watchpost::test::ScopedEnv zone("TZ", "Europe/Berlin");
  tzset();
  constexpr long kSpring = 1774746000;  // summer time begins: 02:00 is 03:00
  EXPECT_EQ(wpctl::LocalTime(kSpring - 1), "2026-03-29 01:59:59");
  EXPECT_EQ(wpctl::LocalTime(kSpring), "2026-03-29 03:00:00");
  EXPECT_EQ(wpctl::FormatTime(kSpring + 1800, "%H:%M %Z"), "03:30 CEST");
  EXPECT_EQ(wpctl::Duration(0), "0:00:00");
  EXPECT_EQ(wpctl::Duration(100 * 3600 + 62), "100:01:02");
}

}  // namespace
