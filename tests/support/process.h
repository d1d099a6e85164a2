// A program under test: started by the test, ended with it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/tempdir.h"

namespace watchpost::test {

class Process {
 public:
  /// Starts `arguments`, the first of which names the program.
  explicit Process(const std::vector<std::string>& arguments);
  /// Kills it unless it has ended.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  [[nodiscard]] pid_t Pid() const { return pid_; }

  /// What it has written so far.
  [[nodiscard]] std::string Output() const { return ReadFile(dir_ / "out"); }
  [[nodiscard]] std::string Errors() const { return ReadFile(dir_ / "err"); }

  /// Exit status (128 and more for a signal); -1 when it does not end within `limit`.
  int Wait(std::chrono::seconds limit = std::chrono::seconds(60));

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
Result RunProgram(const std::vector<std::string>& arguments);

/// Sleeps for a few milliseconds.
void PauseBriefly();

/// Asks again and again until `condition` holds; false when it does not within `limit`.
template <typename Condition>
bool Eventually(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    PauseBriefly();
  }
  return true;
}

}  // namespace watchpost::test
