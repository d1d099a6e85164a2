#include "net/interrupt.h"

namespace watchpost {
namespace {

thread_local int interrupt_fd = -1;

}  // namespace

ScopedInterrupt::ScopedInterrupt(int fd) noexcept : previous_(interrupt_fd) {
  interrupt_fd = fd;
}

ScopedInterrupt::~ScopedInterrupt() {
  interrupt_fd = previous_;
}

int ScopedInterrupt::CurrentFd() noexcept {
  return interrupt_fd;
}

}  // namespace watchpost
