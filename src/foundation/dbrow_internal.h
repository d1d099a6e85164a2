// Reading the rows of a result. Reentrant.
#pragma once

#include <cstdlib>
#include <memory>
#include <string>

#include "foundation/decimal_internal.h"
#include "foundation/wpdb.h"
#include "platform/orvadb.h"

namespace watchpost {

struct ResultDeleter {
  void operator()(DBResult* result) const noexcept { ORVADBFreeResult(result); }
};
/// Owner of one result.
using ResultPtr = std::unique_ptr<DBResult, ResultDeleter>;

/// Runs a statement and owns its result; null when the statement failed.
inline ResultPtr Query(std::string sql) noexcept {
  DBResult* result = nullptr;
  return WPDBExecute(std::move(sql), &result) == 0 ? ResultPtr(result) : nullptr;
}

/// One row of a result, which must outlive it. A missing column reads as empty text, 0 or false.
class DBRow {
 public:
  DBRow(DBResult* result, unsigned int row) noexcept : result_(result), row_(row) {}

  [[nodiscard]] bool Has(const char* column) const noexcept {
    return ORVADBFetchField(result_, row_, column) != nullptr;
  }
  [[nodiscard]] const char* Text(const char* column) const noexcept {
    const char* text = ORVADBFetchField(result_, row_, column);
    return text == nullptr ? "" : text;
  }
  [[nodiscard]] int Int(const char* column) const noexcept { return DecimalToInt(Text(column)); }
  [[nodiscard]] long Long(const char* column) const noexcept {
    return std::strtol(Text(column), nullptr, 10);
  }
  [[nodiscard]] bool Bool(const char* column) const noexcept { return *Text(column) == 't'; }

 private:
  DBResult* result_;
  unsigned int row_;
};

/// Walks the rows of a result from the first to the last; null is a result without rows.
class RowCursor {
 public:
  explicit RowCursor(DBResult* result) noexcept : result_(result) {}

  /// Moves on to the next row; false after the last.
  bool Next() noexcept { return ORVADBFetchRow(result_, &row_) == 0; }
  [[nodiscard]] unsigned int Index() const noexcept { return row_; }
  [[nodiscard]] DBRow Row() const noexcept { return {result_, row_}; }

 private:
  DBResult* result_;
  unsigned int row_ = static_cast<unsigned int>(-1);
};

}  // namespace watchpost
