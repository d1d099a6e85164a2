#include "database/wpdb.h"

#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

class Database : public TestDatabase {};

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
  for (const char* sql : {"SELECT nothing",
                          "SELECT 1; SELECT 1/0",
                          "COPY camera TO STDOUT",
                          "COPY camera FROM STDIN"}) {
    EXPECT_EQ(WPDBExecute(sql, &result), -1) << sql;
    EXPECT_EQ(result, marker) << sql;
  }
  EXPECT_EQ(WPDBExecute("SELECT", &result), 0);
  EXPECT_NE(result, marker);
  ORVADBFreeResult(result);
  result = marker;
  const Outage outage;
  EXPECT_EQ(WPDBConnect(), nullptr);
  EXPECT_EQ(WPDBExecute("SELECT 1", &result), -1);
  EXPECT_EQ(result, marker);
  EXPECT_EQ(WPDBTableIdMax("camera"), -1);
}

TEST_F(Database, FindsTheLargestId) {
  EXPECT_EQ(WPDBTableIdMax(gszTableEvent), -1);
  Run("INSERT INTO event (id) VALUES (7), (12), (3)");
  EXPECT_EQ(WPDBTableIdMax(gszTableEvent), 12);
  EXPECT_EQ(WPDBTableIdMax(std::string("nothing")), -1);
}

TEST_F(Database, StoresEveryByteThatATextMayHold) {
  std::string every;
  for (int byte = 1; byte < 256; ++byte) every += static_cast<char>(byte);
  every += "''\\'\\\\\xC3";  // ends in the middle of a character
  const ScopedEnv options("PGOPTIONS", "-c standard_conforming_strings=off -c bytea_output=escape");
  for (const char* encoding : {"UTF8", "LATIN1", "SJIS"}) {
    const ScopedEnv env("PGCLIENTENCODING", encoding);
    EXPECT_EQ(Ask("SELECT '" + WPDBEscapeString(every) + "' AS text", "text"), every) << encoding;
  }
}

TEST_F(Database, EscapesUpToItsLimit) {
  const SyslogCapture log;
  EXPECT_THAT(WPDBEscapeString(std::string(65535, '\'')), SizeIs(2 * 65535));
  EXPECT_EQ(log.Lines(), 0);
  EXPECT_EQ(WPDBEscapeString(std::string(65536, 'x')), "");
  log.Expect(":WPDBEscapeString(): String exceed 64k\n");
  EXPECT_THAT(log.Text(), Not(HasSubstr("wpdb.cpp"))) << "the source's bare name";
}

TEST_F(Database, GoesWhereItShouldWhateverTheEnvironment) {
  for (const char* name : {"PGUSER", "PGDATABASE", "PGHOST", "PGHOSTADDR", "PGPASSWORD"}) {
    const ScopedEnv env(name, "127.0.0.9");  // wrong for all of them
    EXPECT_EQ(WPDBExecute("SELECT 1"), 0) << name;
  }
  EXPECT_EQ(ORVADBConnect("localhost", "admin", "wrong", "surveillance"), nullptr);
  EXPECT_EQ(ORVADBConnect("localhost", "admin", gszDBPass, "dbname=surveillance"), nullptr)
      << "a name is a name, not a connection string";
}

}  // namespace
