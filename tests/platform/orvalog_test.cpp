#include "platform/orvalog.h"

#include <nlohmann/json.hpp>

#include "event/wplog.h"
#include "support/syslogcapture.h"

namespace {

TEST(EventLog, AppendsOneObjectALineWhateverTheBytes) {
  const TestRoot root;
  const SyslogCapture log;
  EXPECT_EQ(WPLog(WP_LOG_ROTATED_BY_SIZE, "Caf\xC3\xA9 %s%n", "12", "", ""), 0);
  EXPECT_EQ(WPLog(WP_LOG_EVENT_DELETED, "cut \xC3", "line\nend\"", "", ""), 0);
  EXPECT_EQ(ORVALogSet1(8, 1, 7, nullptr, nullptr, nullptr, nullptr), 0);

  std::istringstream lines(root.EventLog());
  std::vector<nlohmann::json> entries;
  for (std::string line; std::getline(lines, line);) entries.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0]["message"], 0x13300013);
  EXPECT_EQ(entries[0]["log"], 8);
  EXPECT_EQ(entries[0]["text"],
            "Removed the 12 oldest recordings of camera Caf\xC3\xA9 %s%n because its capacity was "
            "used up.");
  EXPECT_EQ(entries[1]["arguments"][1], "line\nend\"");
  EXPECT_EQ(entries[2]["text"], "");
  EXPECT_EQ(log.Lines(), 3) << "the system log gets the same";
}

TEST(EventLog, ThatCannotBeWrittenHoldsNobodyUp) {
  const TestRoot root;
  WriteFile(root / "var/log", "in the way");
  EXPECT_EQ(ORVALogSet1(8, 1, WP_LOG_EVENT_DELETED, "x", "", "", ""), -1);
  EXPECT_EQ(WPLog(WP_LOG_EVENT_DELETED, "x", "", "", ""), 0);
}

}  // namespace
