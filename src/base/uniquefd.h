// Owner of one file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace watchpost {

/// Closes the descriptor it holds when it goes out of scope. A negative value means none.
class UniqueFd {
 public:
  UniqueFd() noexcept = default;
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() { Reset(); }

  [[nodiscard]] int Get() const noexcept { return fd_; }
  [[nodiscard]] bool IsValid() const noexcept { return fd_ >= 0; }

  /// Gives the descriptor away; the caller closes it.
  [[nodiscard]] int Release() noexcept { return std::exchange(fd_, -1); }

  /// Closes what is held and takes over `fd`.
  void Reset(int fd = -1) noexcept {
    const int old = std::exchange(fd_, fd);
    if (old >= 0 && old != fd) (void)::close(old);  // nothing can be done about a failing close
  }

 private:
  int fd_ = -1;
};

}  // namespace watchpost
