// The daemon's messages to the operator, in the system log. Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>

#include <chrono>
#include <ctime>
#include <string>

namespace wpd {

/// Opens the log; in the foreground, messages also go to standard error.
void OpenLog(bool foreground);

/// Writes one line, whatever the arguments hold: control characters are shown as '?'. The format is
/// a literal; what comes from outside is an argument.
[[gnu::format(printf, 1, 2)]] void Log(const char* format, ...);

/// The trouble that began last; no text when there was none.
struct Trouble {
  std::string text;
  time_t when = 0;
};
Trouble LastTrouble();

/// A spell of trouble, however often it is reported. Thread-safe.
class SpellState {
 public:
  /// A spell is over when all has been well for `steady`: what comes and goes is one spell.
  explicit SpellState(std::chrono::seconds steady) : steady_(steady) {}

  /// Reports the trouble; returns true when this begins a spell.
  bool Begin();

  /// Reports that all is well at the moment; returns true when this ends a spell. With a `steady`
  /// above 0, to be called again and again.
  bool End();

 private:
  const std::chrono::seconds steady_;
  watchpost::Mutex mutex_;
  bool lasting_ WATCHPOST_GUARDED_BY(mutex_) = false;
  bool well_ WATCHPOST_GUARDED_BY(mutex_) = true;
  std::chrono::steady_clock::time_point well_since_ WATCHPOST_GUARDED_BY(mutex_);
};

/// A spell of trouble in the log: one line when it begins and one when it is over, however often
/// it is reported between. Thread-safe.
class Spell {
 public:
  /// `over` is the line that ends a spell.
  explicit Spell(std::string over, std::chrono::seconds steady = std::chrono::seconds(0))
      : over_(std::move(over)), state_(steady) {}

  /// As SpellState::Begin; logs `message` when this begins a spell.
  bool Begin(const std::string& message);

  /// As SpellState::End.
  void End();

 private:
  const std::string over_;
  SpellState state_;
};

}  // namespace wpd
