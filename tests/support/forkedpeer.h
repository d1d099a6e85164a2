// Another process of the test's.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

namespace watchpost::test {

class ForkedPeer {
 public:
  /// Forks; the child runs `body` and exits with what it returns.
  template <typename Body>
  explicit ForkedPeer(Body body) : pid_(fork()) {
    if (pid_ != 0) return;
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    _exit(body());
  }
  ~ForkedPeer() { Kill(); }
  ForkedPeer(ForkedPeer&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
  ForkedPeer& operator=(ForkedPeer&& other) noexcept {
    std::swap(pid_, other.pid_);
    return *this;
  }

  void Kill() {
    if (pid_ <= 0) return;
    (void)kill(pid_, SIGKILL);
    (void)Wait();
  }

  /// Exit status; 128 and more for a signal.
  int Wait() {
    int status = 0;
    EXPECT_EQ(waitpid(std::exchange(pid_, -1), &status, 0) > 0, true);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_;
};

}  // namespace watchpost::test
