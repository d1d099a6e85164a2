#include <array>
#include <cstdarg>
#include <cstdio>

#include "foundation/statement_internal.h"
#include "foundation/wpdb.h"

namespace watchpost {
namespace {

constexpr std::size_t kStatementSize = 16384;

}  // namespace

std::string FormatStatement(const char* format, ...) noexcept {
  std::array<char, kStatementSize> buffer;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
  va_end(arguments);
  return length < 0 ? "" : buffer.data();
}

bool IsCutStatement(const std::string& sql) noexcept {
  return sql.size() >= kStatementSize - 1;
}

int ExecuteStatement(const std::string& sql) noexcept {
  return IsCutStatement(sql) ? -1 : WPDBExecute(sql);
}

}  // namespace watchpost
