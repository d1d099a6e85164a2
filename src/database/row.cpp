#include "database/row.h"

#include <cstdlib>

#include "base/decimal_internal.h"

namespace watchpost {

bool Row::Has(const char* column) const noexcept {
  return ORVADBFetchField(result_, row_, column) != nullptr;
}

const char* Row::Text(const char* column) const noexcept {
  const char* text = ORVADBFetchField(result_, row_, column);
  return text == nullptr ? "" : text;
}

int Row::Int(const char* column) const noexcept {
  return DecimalToInt(Text(column));
}

long Row::Long(const char* column) const noexcept {
  return std::strtol(Text(column), nullptr, 10);
}

long long Row::LongLong(const char* column) const noexcept {
  return std::strtoll(Text(column), nullptr, 10);
}

}  // namespace watchpost
