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

/// True when the statement filled its buffer, so that part of it may be missing.
[[nodiscard]] bool IsCutStatement(const std::string& sql) noexcept;

}  // namespace watchpost
