// A limit for all that a command asks of a camera: one that sends a byte now and then would hold it
// for ever.
#pragma once

#include <watchpost/base/uniquefd.h>
#include <watchpost/net/interrupt.h>

namespace wpctl {

/// While it lives, waits of the thread that made it fail once the time is over.
class TimeLimit {
 public:
  explicit TimeLimit(int seconds);

  [[nodiscard]] bool IsOver() const;

 private:
  const watchpost::UniqueFd timer_;
  const watchpost::ScopedInterrupt interrupt_;
};

}  // namespace wpctl
