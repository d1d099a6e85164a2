#include "scheduletext.h"

#include <gtest/gtest.h>

namespace {

std::string Apply(const std::vector<std::string>& rules) {
  Camera camera;
  std::string error;
  for (const std::string& rule : rules)
    EXPECT_TRUE(wpctl::ApplyScheduleRule(rule, camera, error)) << error;
  return wpctl::ScheduleText(camera);
}

TEST(ScheduleRules, SayWhatTheyDid) {
  EXPECT_EQ(Apply({"all continuous"}), "all continuous");
  EXPECT_EQ(Apply({"all continuous", "mon-fri 8-18 motion"}),
            "mon-fri 0-8,18-24 continuous; sat-sun continuous; mon-fri 8-18 motion");
  EXPECT_EQ(Apply({"SAT,sun 7 Motion"}), "sat-sun 7-8 motion");
  EXPECT_EQ(Apply({"fri-mon 0-24 motion", "all none", "wed motion"}), "wed motion");
  EXPECT_EQ(Apply({"sat 22-6 continuous"}), "sat 22-24 continuous; sun 0-6 continuous")
      << "into the next day";
  EXPECT_EQ(Apply({"mon 6-8,20-22 motion"}), "mon 6-8,20-22 motion");
  EXPECT_EQ(Apply({}), "nothing");
}

TEST(ScheduleRules, ThatMakeNoSenseChangeNothing) {
  Camera camera;
  for (const char* rule : {"",
                           "all",
                           "motion",
                           "mon 8-18",
                           "mon 8-18 always",
                           "monday motion",
                           "mon 8-25 motion",
                           "mon 24 motion",
                           "mon -1 motion",
                           "mon 8:00-9:00 motion",
                           "mon 8 motion now"}) {
    std::string error;
    EXPECT_FALSE(wpctl::ApplyScheduleRule(rule, camera, error)) << rule;
    EXPECT_NE(error.find("a rule is"), std::string::npos);
  }
  EXPECT_EQ(camera.StringFromSchedule(), std::string(168, '0'));
}

}  // namespace
