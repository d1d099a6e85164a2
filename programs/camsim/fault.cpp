#include "fault.h"

#include <charconv>
#include <string_view>

namespace camsim {
namespace {

struct Name {
  std::string_view text;
  FaultKind kind;
  bool takes_value;
};

constexpr Name kNames[] = {
    {"none", FaultKind::kNone, false},
    {"stall", FaultKind::kStall, true},
    {"drop", FaultKind::kDrop, true},
    {"broken", FaultKind::kBroken, true},
    {"invalid", FaultKind::kInvalid, false},
    {"noend", FaultKind::kNoEnd, true},
    {"padded", FaultKind::kPadded, true},
    {"slow", FaultKind::kSlow, true},
};

std::optional<std::uint32_t> ParseNumber(std::string_view text) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

const char* const kFaultHelp =
    "none, stall:N, drop:N, broken:N, invalid, noend:N, padded:BYTES, slow:BYTES_A_SECOND, 401, "
    "404 "
    "or 500";

std::optional<Fault> ParseFault(const std::string& text) {
  if (text == "401" || text == "404" || text == "500")
    return Fault{FaultKind::kStatus, *ParseNumber(text)};
  const std::size_t colon = text.find(':');
  const std::string_view name = std::string_view(text).substr(0, colon);
  for (const Name& known : kNames) {
    if (known.text != name || known.takes_value != (colon != std::string::npos)) continue;
    if (!known.takes_value) return Fault{known.kind, 0};
    const std::optional<std::uint32_t> value =
        ParseNumber(std::string_view(text).substr(colon + 1));
    constexpr std::uint32_t kMostPadding = 1U << 24;
    if (!value || *value == 0 || (known.kind == FaultKind::kPadded && *value > kMostPadding))
      return std::nullopt;
    return Fault{known.kind, *value};
  }
  return std::nullopt;
}

}  // namespace camsim
