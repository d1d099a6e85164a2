// The daemon's messages to the operator, in the system log. Thread-safe.
#pragma once

#include <mutex>
#include <string>

namespace wpd {

/// Opens the log; in the foreground, messages also go to standard error.
void OpenLog(bool foreground);

/// Writes one line. The format is a literal; what comes from outside is an argument.
[[gnu::format(printf, 1, 2)]] void Log(const char* format, ...);

/// A spell of trouble: one line when it begins and one when it is over, however often it is
/// reported between. Thread-safe.
class Spell {
 public:
  /// `over` is the line that ends a spell.
  explicit Spell(std::string over) : over_(std::move(over)) {}

  /// Reports the trouble; returns true, and logs `message`, when this begins a spell.
  bool Begin(const std::string& message);

  /// Reports that all is well again.
  void End();

 private:
  std::mutex mutex_;
  std::string over_;
  bool lasting_ = false;
};

}  // namespace wpd
