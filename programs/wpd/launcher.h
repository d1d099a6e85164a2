// Going to the background, and reporting to whoever started the daemon how that went.
#pragma once

#include <watchpost/base/uniquefd.h>

#include <optional>
#include <string>

namespace wpd {

/// The daemon's end of the pipe to its launcher. Without a launcher, reports go
/// nowhere.
class Readiness {
 public:
  Readiness() = default;
  explicit Readiness(watchpost::UniqueFd pipe) : pipe_(std::move(pipe)) {}

  [[nodiscard]] bool HasLauncher() const { return pipe_.IsValid(); }

  /// The daemon runs: the launcher exits with 0.
  void Succeed();

  /// The daemon ends: the launcher prints `why` and exits with 1.
  void Fail(const std::string& why);

 private:
  watchpost::UniqueFd pipe_;
};

/// Forks the daemon off: a session of its own, no terminal, working folder "/", standard streams on
/// /dev/null. Must be called before there are threads. In the daemon returns nothing and fills
/// `readiness`; in the launcher waits for the daemon's report, for a minute at most, and returns
/// the status to exit with.
std::optional<int> Detach(Readiness& readiness);

}  // namespace wpd
