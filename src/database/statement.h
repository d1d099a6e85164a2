// Statements: with values in them, and with their results owned. Every statement has a connection
// of its own (database/wpdb.h). Thread-safe; nothing is logged.
#pragma once

#include <string>

#include "base/export.h"
#include "database/row.h"

namespace watchpost {

/// Runs a statement and owns its result; null when the statement failed.
[[nodiscard]] WATCHPOST_API ResultPtr Query(std::string sql) noexcept;

/// A statement with values in it.
struct Statement {
  std::string text;
  bool cut;  ///< a part of it is missing
};

/// Formats like printf into the statement buffer of 16,384 bytes; what does not fit is cut. Texts
/// must have been escaped.
[[gnu::format(printf, 1, 2)]] WATCHPOST_API Statement FormatStatement(const char* format,
                                                                      ...) noexcept;

/// Runs a formatted statement without a result: 0 or -1. One that was cut is refused: an UPDATE
/// that lost its condition would rewrite every row.
[[nodiscard]] WATCHPOST_API int ExecuteStatement(const Statement& statement) noexcept;

/// Runs a formatted INSERT that returns one row with the column "id", and stores that. Returns null
/// on success, else what to log. One that was cut is refused.
[[nodiscard]] WATCHPOST_API const char* InsertRow(const Statement& statement, int& id) noexcept;

}  // namespace watchpost
