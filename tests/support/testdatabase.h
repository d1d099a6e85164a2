// Tests against the shared database server. Each begins with empty tables.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "database/statement.h"
#include "database/wpdb.h"
#include "support/tempdir.h"

namespace watchpost::test {

class TestDatabase : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string port = ReadFile(WATCHPOST_TEST_DATABASE "/port");
    port.erase(std::remove(port.begin(), port.end(), '\n'), port.end());
    ASSERT_FALSE(port.empty()) << "no server; ctest starts it";
    setenv("PGPORT", port.c_str(), 1);
    ASSERT_EQ(
        WPDBExecute("TRUNCATE camera, motion, notification, event, camerastatus RESTART IDENTITY"),
        0);
  }

  /// First value of the first row; "" without one.
  static std::string Ask(const std::string& sql, const char* column) {
    const ResultPtr result = Query(sql);
    RowCursor rows(result.get());
    return rows.Next() ? rows.Get().Text(column) : "";
  }

  /// Makes every statement fail as long as the object lives.
  struct Outage {
    ScopedEnv port{"PGPORT", "1"};
  };
};

}  // namespace watchpost::test
