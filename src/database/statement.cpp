#include "database/statement.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "database/wpdb.h"

namespace watchpost {
namespace {

constexpr std::size_t kStatementSize = 16384;

}  // namespace

ResultPtr Query(std::string sql) noexcept {
  DBResult* result = nullptr;
  return WPDBExecute(std::move(sql), &result) == 0 ? ResultPtr(result) : nullptr;
}

Statement FormatStatement(const char* format, ...) noexcept {
  std::array<char, kStatementSize> buffer;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
  va_end(arguments);
  if (length < 0) return {"", true};
  return {buffer.data(), static_cast<std::size_t>(length) >= buffer.size()};
}

int ExecuteStatement(const Statement& statement) noexcept {
  return statement.cut ? -1 : WPDBExecute(statement.text);
}

const char* InsertRow(const Statement& statement, int& id) noexcept {
  const ResultPtr result = statement.cut ? nullptr : Query(statement.text);
  if (result == nullptr) return "Failed to execute command";
  if (ORVADBNumRows(result.get()) != 1) return "Failed to get result";
  RowCursor rows(result.get());
  if (!rows.Next()) return "Failed to get id";
  id = rows.Get().Int("id");
  return nullptr;
}

}  // namespace watchpost
