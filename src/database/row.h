// Reading the rows of a statement's result.
#pragma once

#include <memory>

#include "base/export.h"
#include "platform/orvadb.h"

namespace watchpost {

struct ResultDeleter {
  void operator()(DBResult* result) const noexcept { ORVADBFreeResult(result); }
};
/// Owner of one result.
using ResultPtr = std::unique_ptr<DBResult, ResultDeleter>;

/// One row of a result, which must outlive it. A missing column reads as empty text, 0 or false;
/// numbers are read as atoi does, but one out of range becomes the nearest that fits.
class WATCHPOST_API Row {
 public:
  Row(DBResult* result, unsigned int row) noexcept : result_(result), row_(row) {}

  [[nodiscard]] bool Has(const char* column) const noexcept;
  [[nodiscard]] const char* Text(const char* column) const noexcept;
  [[nodiscard]] int Int(const char* column) const noexcept;
  [[nodiscard]] long Long(const char* column) const noexcept;
  [[nodiscard]] long long LongLong(const char* column) const noexcept;
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
  [[nodiscard]] Row Get() const noexcept { return {result_, row_}; }

 private:
  DBResult* result_;
  unsigned int row_ = static_cast<unsigned int>(-1);
};

}  // namespace watchpost
