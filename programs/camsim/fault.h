// What the simulated camera does wrong at the moment. Thread-safe.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace camsim {

enum class FaultKind {
  kNone,
  kStall,    ///< sends `value` frames of each stream, then nothing more
  kDrop,     ///< sends `value` frames of each stream, then closes it
  kBroken,   ///< cuts every `value`-th picture off in its middle
  kInvalid,  ///< sends parts that are no pictures
  kNoEnd,    ///< sends every `value`-th picture without its end marker
  kPadded,   ///< sends `value` zero bytes behind each picture
  kSlow,     ///< sends `value` bytes a second
  kStatus,   ///< answers with HTTP status `value`
};

struct Fault {
  FaultKind kind = FaultKind::kNone;
  std::uint32_t value = 0;
};

/// The texts that ParseFault takes.
extern const char* const kFaultHelp;

/// Reads "none", "stall:N", "drop:N", "broken:N", "invalid", "noend:N", "padded:N", "slow:N",
/// "401", "404" or "500".
std::optional<Fault> ParseFault(const std::string& text);

/// The fault that all connections look at; it can be changed while they are served.
class FaultSwitch {
 public:
  void Set(Fault fault) { state_ = static_cast<std::uint64_t>(fault.kind) << 32 | fault.value; }
  [[nodiscard]] Fault Get() const {
    const std::uint64_t state = state_;
    return {static_cast<FaultKind>(state >> 32), static_cast<std::uint32_t>(state)};
  }

 private:
  std::atomic<std::uint64_t> state_{0};
};

}  // namespace camsim
