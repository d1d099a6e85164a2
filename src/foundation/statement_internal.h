// Statements with values in them. Reentrant.
#pragma once

#include <string>

namespace watchpost {

/// Formats like printf into the statement buffer of 16,384 bytes; what does not fit is cut. Texts
/// must have been escaped.
[[gnu::format(printf, 1, 2)]] std::string FormatStatement(const char* format, ...) noexcept;

/// Runs a formatted statement without a result: 0 or -1. One that was cut is refused: an UPDATE
/// that lost its condition would rewrite every row.
[[nodiscard]] int ExecuteStatement(const std::string& sql) noexcept;

/// Runs a formatted INSERT that returns one row with the column "id", and stores that. Returns null
/// on success, else what to log. One that was cut is refused.
[[nodiscard]] const char* InsertRow(const std::string& sql, int& id) noexcept;

}  // namespace watchpost
