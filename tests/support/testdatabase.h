// Tests against the shared database server. Each begins with empty tables.
#pragma once

#include "database/statement.h"
#include "database/wpdb.h"
#include "support/test.h"

namespace watchpost::test {

class TestDatabase : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string port = ReadFile(WATCHPOST_TEST_DATABASE "/port");
    std::erase(port, '\n');
    ASSERT_FALSE(port.empty()) << "no server; ctest starts it";
    setenv("PGPORT", port.c_str(), 1);
    Run("TRUNCATE camera, motion, notification, event, camerastatus RESTART IDENTITY");
  }

  static void Run(const std::string& sql) { ASSERT_EQ(WPDBExecute(sql), 0) << sql; }

  /// First value of the first row; "" without one.
  static std::string Ask(const std::string& sql, const char* column) {
    const ResultPtr result = Query(sql);
    RowCursor rows(result.get());
    return rows.Next() ? rows.Get().Text(column) : "";
  }
  /// How many rows there are in "TABLE" or "TABLE WHERE ...".
  static int Rows(const std::string& from) {
    return std::atoi(Ask("SELECT count(*) FROM " + from, "count").c_str());
  }

  /// Makes every statement fail as long as the object lives.
  struct Outage {
    ScopedEnv port{"PGPORT", "1"};
  };
};

}  // namespace watchpost::test
