#include "database/statement.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "database/wpdb.h"

namespace watchpost {
namespace {

constexpr std::size_t kStatementSize = 16384;

// True when the statement filled its buffer, so that part of it may be missing.
bool IsCut(const std::string& sql) {
  return sql.size() >= kStatementSize - 1;
}

}  // namespace

ResultPtr Query(std::string sql) noexcept {
  DBResult* result = nullptr;
  return WPDBExecute(std::move(sql), &result) == 0 ? ResultPtr(result) : nullptr;
}

std::string FormatStatement(const char* format, ...) noexcept {
  std::array<char, kStatementSize> buffer;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
  va_end(arguments);
  return length < 0 ? "" : buffer.data();
}

int ExecuteStatement(const std::string& sql) noexcept {
  return IsCut(sql) ? -1 : WPDBExecute(sql);
}

const char* InsertRow(const std::string& sql, int& id) noexcept {
  const ResultPtr result = IsCut(sql) ? nullptr : Query(sql);
  if (result == nullptr) return "Failed to execute command";
  if (ORVADBNumRows(result.get()) != 1) return "Failed to get result";
  RowCursor rows(result.get());
  if (!rows.Next()) return "Failed to get id";
  id = rows.Get().Int("id");
  return nullptr;
}

}  // namespace watchpost
