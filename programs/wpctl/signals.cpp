#include "signals.h"

#include <signal.h>

#include <ctime>
#include <initializer_list>

namespace wpctl {
namespace {

sigset_t EndingSignals() {
  sigset_t set;
  (void)sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) (void)sigaddset(&set, number);
  return set;
}

}  // namespace

void BlockEndingSignals() {
  const sigset_t set = EndingSignals();
  (void)pthread_sigmask(SIG_BLOCK, &set, nullptr);  // cannot fail with these arguments
}

bool WaitForEndingSignal() {
  constexpr timespec kTenth{0, 100000000};
  const sigset_t set = EndingSignals();
  return sigtimedwait(&set, nullptr, &kTenth) > 0;
}

}  // namespace wpctl
