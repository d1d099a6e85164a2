#include "net/wpsocket.h"

#include <netdb.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <utility>

#include "base/utils.h"
#include "net/interrupt.h"

namespace {

using Clock = std::chrono::steady_clock;

struct AddressDeleter {
  void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};
using AddressPtr = std::unique_ptr<addrinfo, AddressDeleter>;

constexpr std::chrono::milliseconds kNoLimit{-1};

enum class Wait { kReady, kExpired, kInterrupted };

// Waits for `events` on the socket, for at most `limit` (for ever when negative).
Wait WaitFor(int fd, short events, std::chrono::milliseconds limit) {
  pollfd watched[2] = {{fd, events, 0}, {watchpost::ScopedInterrupt::CurrentFd(), POLLIN, 0}};
  const Clock::time_point deadline = Clock::now() + limit;
  for (;;) {
    int left = -1;
    if (limit >= limit.zero()) {
      using std::chrono::milliseconds;
      const auto rest = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
      left = static_cast<int>(std::clamp<std::int64_t>(rest, 0, INT32_MAX));
    }
    const int ready = poll(watched, 2, left);
    if (ready > 0) return watched[1].revents != 0 ? Wait::kInterrupted : Wait::kReady;
    if (ready == 0) return Wait::kExpired;
    if (errno != EINTR) return Wait::kInterrupted;
  }
}

bool SetBlocking(int fd, bool blocking) {
  int flag = blocking ? 0 : 1;
  return ioctl(fd, FIONBIO, &flag) == 0;
}

}  // namespace

WPSocket::~WPSocket() {
  if (fd_ > 0) (void)close(fd_);  // nothing can be done about a failing close
}

void WPSocket::SetSocketInfo(std::string host, int port, int timeout) noexcept {
  DisConnect();
  host_ = std::move(host);
  port_ = port;
  timeout_ = timeout;
}

void WPSocket::DisConnect() noexcept {
  if (fd_ > 0) (void)close(fd_);  // nothing can be done about a failing close
  fd_ = -1;
  connected_ = false;
  offset_ = 0;
  count_ = 0;
  more_ = false;
  batch_bytes_ = 0;
  low_water_ = 1;
  buffer_.fill(0);
}

int WPSocket::BuildConnect() noexcept {
  const std::string port = itos(port_);
  DisConnect();
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd_ == 0) (void)close(fd_);  // descriptor 0 counts as none everywhere
  if (fd_ <= 0) {
    fd_ = -1;
    return -1;
  }
  if (!Connect(port) || !SetBlocking(fd_, timeout_ < 0)) {
    DisConnect();
    return -1;
  }
  connected_ = true;
  return 0;
}

bool WPSocket::Connect(const std::string& port) noexcept {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host_.c_str(), port.c_str(), &hints, &found) != 0) return false;
  const AddressPtr address(found);

  // Not blocking inside connect itself, so that the wait for it can be interrupted; it has no limit
  // of its own.
  if (!SetBlocking(fd_, false)) return false;
  if (connect(fd_, address->ai_addr, address->ai_addrlen) == 0) return true;
  if (errno != EINPROGRESS || WaitFor(fd_, POLLOUT, kNoLimit) != Wait::kReady) return false;
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

// Fills the empty buffer with one read; count_ is then as read returned it. Only where the last
// read filled the buffer is there likely to be more without waiting for it.
bool WPSocket::ReadAhead() noexcept {
  offset_ = 0;
  count_ = -1;
  if (fd_ < 1) return false;
  bool wait = timeout_ >= 0 && !more_;
  if (!wait) {
    count_ = Read();
    wait = count_ < 0 && timeout_ >= 0 && errno == EAGAIN;
  }
  if (wait && batch_bytes_ > 0) wait = !ReadBatch();
  if (wait) {
    SetLowWater(1);
    if (WaitFor(fd_, POLLIN, std::chrono::seconds(timeout_)) == Wait::kReady) count_ = Read();
  }
  more_ = count_ == static_cast<std::int32_t>(buffer_.size());
  return count_ > 0;
}

// Waits for a batch and reads of it what the buffer holds. False when nothing came in its time.
bool WPSocket::ReadBatch() noexcept {
  SetLowWater(batch_bytes_);
  if (WaitFor(fd_, POLLIN, std::chrono::milliseconds(batch_longest_)) == Wait::kInterrupted)
    return true;
  count_ = Read();
  return count_ >= 0 || errno != EAGAIN;
}

// Without it, which no kernel refuses, a batch is what has arrived at the end of its time.
void WPSocket::SetLowWater(int bytes) noexcept {
  if (bytes == low_water_) return;
  (void)setsockopt(fd_, SOL_SOCKET, SO_RCVLOWAT, &bytes, sizeof bytes);
  low_water_ = bytes;
}

void WPSocket::SetBatch(int bytes, int longest) noexcept {
  if (fd_ < 1 || timeout_ < 0) return;
  batch_bytes_ = std::max(bytes, 0);
  batch_longest_ = longest;
}

std::int32_t WPSocket::Read() noexcept {
  return static_cast<std::int32_t>(read(fd_, buffer_.data(), buffer_.size()));
}

int WPSocket::ReadData(char* buf, int len) noexcept {
  if (len == 0) return 0;
  if (buf == nullptr || len < 0) return -1;
  int remaining = len;
  while (count_ < remaining) {
    if (count_ > 0) {
      std::memcpy(buf, buffer_.data() + offset_, static_cast<std::size_t>(count_));
      remaining -= count_;
      buf += count_;
    }
    if (ReadAhead()) continue;
    const bool failed = std::exchange(count_, 0) < 0;
    if (failed && remaining == len) return Fail();
    return len - remaining;
  }
  std::memcpy(buf, buffer_.data() + offset_, static_cast<std::size_t>(remaining));
  offset_ += static_cast<std::uint32_t>(remaining);
  count_ -= remaining;
  return len;
}

int WPSocket::ReadThrough(char* buf, int room, std::string_view end) noexcept {
  std::size_t held = 0;
  std::size_t searched = 0;  // up to here `end` does not begin
  while (held < static_cast<std::size_t>(std::max(room, 0))) {
    if (count_ <= 0 && !ReadAhead()) {
      if (std::exchange(count_, 0) < 0) (void)Fail();
      return -1;
    }
    const std::size_t taken =
        std::min(static_cast<std::size_t>(count_), static_cast<std::size_t>(room) - held);
    std::memcpy(buf + held, buffer_.data() + offset_, taken);
    const auto* found = static_cast<const char*>(
        memmem(buf + searched, held + taken - searched, end.data(), end.size()));
    const std::size_t used =
        found == nullptr ? taken : static_cast<std::size_t>(found - buf) + end.size() - held;
    offset_ += static_cast<std::uint32_t>(used);
    count_ -= static_cast<std::int32_t>(used);
    held += used;
    if (found != nullptr) return static_cast<int>(held);
    searched = held < end.size() ? 0 : held - end.size() + 1;
  }
  return 0;
}

int WPSocket::WriteData(const char* buf, int len) noexcept {
  if (fd_ < 1 || buf == nullptr || len < 1) return -1;
  if (timeout_ >= 0 && WaitFor(fd_, POLLOUT, std::chrono::seconds(timeout_)) == Wait::kInterrupted)
    return Fail();
  const ssize_t n = send(fd_, buf, static_cast<std::size_t>(len), MSG_NOSIGNAL);
  return n < 0 ? Fail() : static_cast<int>(n);
}

int WPSocket::Fail() noexcept {
  connected_ = false;
  return -1;
}
