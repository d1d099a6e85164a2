// What happens while the disk does not take a recording: one line in the log, one mail, and pauses
// that grow between tries. One thread at a time uses an object.
#pragma once

#include <watchpost/service/daemonsettings.h>

#include <chrono>
#include <string>

#include "log.h"
#include "mailer.h"

namespace wpd {

class DiskTrouble {
 public:
  using Clock = std::chrono::steady_clock;

  DiskTrouble(const watchpost::DaemonSettings& settings, const Camera& camera, Mailer& mailer);

  /// Something could not be written. Logs `what`, and sends a mail, when trouble begins with it.
  void Report(const Camera& camera, const std::string& what);

  /// Something is wrong that needs no mail: logs `what` when trouble begins with it.
  void ReportOnce(const Camera& camera, const std::string& what);

  /// As Report; recording pauses from now on.
  void Suspend(const Camera& camera, const std::string& reason);

  /// A frame was written: all is well. True when it was not before.
  bool End();

  /// What keeps the camera from being recorded; empty when nothing does.
  [[nodiscard]] const std::string& Reason() const { return reason_; }

  enum class State {
    kRecording,  ///< no pause
    kPaused,     ///< not yet
    kOver,       ///< a pause is over, and there is room
  };
  State Check(const Camera& camera, Clock::time_point now);

 private:
  const std::uint64_t reserve_bytes_;
  Mailer& mailer_;
  Spell trouble_;
  SpellState mail_;
  std::chrono::seconds pause_{0};  // how long the present one lasts, 0 without trouble
  Clock::time_point until_;
  std::string reason_;
};

}  // namespace wpd
