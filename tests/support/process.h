// A program under test: started by the test, ended with it.
#pragma once

#include <iomanip>

#include "support/test.h"

namespace watchpost::test {

/// A word of a command line as the programs below read it, whatever it holds.
template <typename Text>
std::string Quoted(const Text& text) {
  std::ostringstream quoted;
  quoted << std::quoted(text, '\'');
  return quoted.str();
}

class Process {
 public:
  /// Starts a program by its command line: words between blanks, or between single quotes.
  explicit Process(const std::string& command);
  /// Kills it unless it has ended.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  [[nodiscard]] pid_t Pid() const { return pid_; }

  /// What it has written so far.
  [[nodiscard]] std::string Output() const { return ReadFile(dir_ / "out"); }
  [[nodiscard]] std::string Errors() const { return ReadFile(dir_ / "err"); }

  /// Exit status (128 and more for a signal); -1 when it does not end within `limit`.
  int Wait(seconds limit = seconds(60));

  /// Sends it a signal and waits for its end.
  int End(int signal_number, seconds limit = seconds(60));

 private:
  TempDir dir_;
  pid_t pid_ = -1;
  int status_ = -1;
};

struct Result {
  int status;
  std::string output;
  std::string errors;
};

/// Runs a program to its end.
Result RunProgram(const std::string& command);

/// The output of a program that must end well and find nothing to complain about.
std::string OutputOf(const std::string& command);

/// Sleeps for a few milliseconds.
void PauseBriefly();

/// Asks again and again until `condition` holds; false when it does not within `limit`. A condition
/// that runs programs to find out gets a third of the time, so that what it waits for has the rest.
template <typename Condition>
bool Eventually(Condition condition, milliseconds limit = seconds(20)) {
  const auto deadline = Clock::now() + limit;
  for (;;) {
    const auto asked = Clock::now();
    if (condition()) return true;
    const auto now = Clock::now();
    if (now > deadline) return false;
    PauseBriefly();
    std::this_thread::sleep_for(2 * (now - asked));
  }
}

}  // namespace watchpost::test
