// Ending a command that goes on until Ctrl-C.
#pragma once

namespace wpctl {

/// Blocks SIGINT, SIGTERM and SIGHUP. Must be called before there are threads.
void BlockEndingSignals();

/// Waits for one of them, for a tenth of a second; whether it came.
bool WaitForEndingSignal();

}  // namespace wpctl
