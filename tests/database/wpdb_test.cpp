#include "database/wpdb.h"

#include <string>

#include "support/syslogcapture.h"
#include "support/testdatabase.h"

using watchpost::test::ScopedEnv;
using watchpost::test::SyslogCapture;

namespace {

class Database : public watchpost::test::TestDatabase {};

TEST_F(Database, GivesResultsThatOutliveTheirConnection) {
  DBResult* result = nullptr;
  ASSERT_EQ(
      WPDBExecute("SELECT n AS a, n > 1 AS b, NULL AS c FROM generate_series(1, 2) n", &result), 0);
  EXPECT_EQ(ORVADBNumRows(result), 2);
  auto row = static_cast<unsigned int>(-1);
  EXPECT_EQ(ORVADBFetchField(result, row, "a"), nullptr) << "before the first row";
  ASSERT_EQ(ORVADBFetchRow(result, &row), 0);
  EXPECT_STREQ(ORVADBFetchField(result, row, "b"), "f");
  ASSERT_EQ(ORVADBFetchRow(result, &row), 0);
  EXPECT_STREQ(ORVADBFetchField(result, row, "a"), "2");
  EXPECT_STREQ(ORVADBFetchField(result, row, "b"), "t");
  EXPECT_STREQ(ORVADBFetchField(result, row, "c"), "");
  EXPECT_EQ(ORVADBFetchField(result, row, "d"), nullptr);
  EXPECT_NE(ORVADBFetchRow(result, &row), 0);
  EXPECT_EQ(row, 1U) << "stays on the last row";
  ORVADBFreeResult(result);
}

TEST_F(Database, LeavesTheCallersPointerOnFailure) {
  char somewhere = 0;
  auto* marker = reinterpret_cast<DBResult*>(&somewhere);
  DBResult* result = marker;
  for (const char* sql : {"SELECT",
                          "SELECT nothing",
                          "SELECT 1; SELECT 1/0",
                          "COPY camera TO STDOUT",
                          "COPY camera FROM STDIN"}) {
    EXPECT_EQ(WPDBExecute(sql, &result), sql == std::string("SELECT") ? 0 : -1) << sql;
    if (result != marker) ORVADBFreeResult(result);
    result = marker;
  }
  const Outage outage;
  EXPECT_EQ(WPDBConnect(), nullptr);
  EXPECT_EQ(WPDBExecute("SELECT 1", &result), -1);
  EXPECT_EQ(result, marker);
  EXPECT_EQ(WPDBTableIdMax("camera"), -1);
}

TEST_F(Database, FindsTheLargestId) {
  EXPECT_EQ(WPDBTableIdMax(gszTableEvent), -1);
  ASSERT_EQ(WPDBExecute("INSERT INTO event (id) VALUES (7), (12), (3)"), 0);
  EXPECT_EQ(WPDBTableIdMax(gszTableEvent), 12);
  EXPECT_EQ(WPDBTableIdMax(std::string("nothing")), -1);
}

TEST_F(Database, StoresEveryByteThatATextMayHold) {
  std::string every;
  for (int byte = 1; byte < 256; ++byte) every += static_cast<char>(byte);
  every += "''\\'\\\\\xC3";  // ends in the middle of a character
  for (const char* encoding : {"UTF8", "LATIN1", "SJIS"}) {
    const ScopedEnv env("PGCLIENTENCODING", encoding);
    const ScopedEnv options("PGOPTIONS",
                            "-c standard_conforming_strings=off -c bytea_output=escape");
    DBResult* result = nullptr;
    ASSERT_EQ(WPDBExecute("SELECT '" + WPDBEscapeString(every) + "' AS text", &result), 0);
    EXPECT_EQ(ORVADBFetchField(result, 0, "text"), every) << encoding;
    ORVADBFreeResult(result);
  }
}

TEST_F(Database, EscapesUpToItsLimit) {
  const SyslogCapture log;
  EXPECT_EQ(WPDBEscapeString(std::string(65535, '\'')).size(), 2U * 65535);
  EXPECT_EQ(log.Lines(), 0);
  EXPECT_EQ(WPDBEscapeString(std::string(65536, 'x')), "");
  EXPECT_NE(log.Text().find(":WPDBEscapeString(): String exceed 64k\n"), std::string::npos)
      << log.Text();
  EXPECT_EQ(log.Text().find("wpdb.cpp"), std::string::npos) << "the source's bare name";
}

TEST_F(Database, GoesWhereItIsToldWhateverTheEnvironment) {
  const struct {
    const char *name, *value;
  } variables[] = {{"PGUSER", "nobody"},
                   {"PGDATABASE", "nothing"},
                   {"PGHOST", "127.0.0.9"},
                   {"PGHOSTADDR", "127.0.0.9"},
                   {"PGPASSWORD", "wrong"}};
  for (const auto& variable : variables) {
    const ScopedEnv env(variable.name, variable.value);
    EXPECT_EQ(WPDBExecute("SELECT 1"), 0) << variable.name;
  }
  EXPECT_EQ(ORVADBConnect("localhost", "admin", "wrong", "surveillance"), nullptr);
  EXPECT_EQ(ORVADBConnect("localhost", "admin", gszDBPass, "dbname=surveillance"), nullptr)
      << "a name is a name, not a connection string";
}

}  // namespace
