#include "launcher.h"

#include <fcntl.h>
#include <poll.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace wpd {
namespace {

constexpr char kRunning = '+';
constexpr std::chrono::seconds kLongestStart{60};

int Complain(const std::string& why) {
  std::fprintf(stderr, "wpd: %s\n", why.c_str());
  return 1;
}

// All that the daemon reported before it closed its end; nothing when that takes too long.
std::optional<std::string> ReadReport(int fd) {
  const auto deadline = std::chrono::steady_clock::now() + kLongestStart;
  std::string report;
  for (;;) {
    using std::chrono::milliseconds;
    const auto left =
        std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    pollfd pipe{fd, POLLIN, 0};
    if (left <= 0 || poll(&pipe, 1, static_cast<int>(left)) <= 0) return std::nullopt;
    std::array<char, 512> buffer;
    const ssize_t n = read(fd, buffer.data(), buffer.size());
    if (n <= 0) return report;
    report.append(buffer.data(), static_cast<std::size_t>(n));
  }
}

int WaitForDaemon(int fd) {
  const std::optional<std::string> report = ReadReport(fd);
  if (!report) return Complain("the daemon did not get to run within a minute; its log says more");
  if (report->empty()) return Complain("the daemon ended before it was running; its log says more");
  return *report == std::string(1, kRunning) ? 0 : Complain(*report);
}

void LeaveTerminal() {
  (void)umask(022);
  (void)chdir("/");  // it exists
  const int null = open("/dev/null", O_RDWR);
  for (int fd = 0; fd <= 2 && null >= 0; ++fd) (void)dup2(null, fd);
  if (null > 2) (void)close(null);
}

}  // namespace

void Readiness::Succeed() {
  if (HasLauncher()) (void)write(pipe_.Get(), &kRunning, 1);  // the launcher may have given up
  pipe_.Reset();
}

void Readiness::Fail(const std::string& why) {
  if (HasLauncher()) (void)write(pipe_.Get(), why.data(), why.size());
  pipe_.Reset();
}

std::optional<int> Detach(Readiness& readiness) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0)
    return Complain(std::string("cannot make a pipe: ") + strerror(errno));
  watchpost::UniqueFd reading(ends[0]);
  watchpost::UniqueFd writing(ends[1]);
  const pid_t child = fork();
  if (child < 0) return Complain(std::string("cannot fork: ") + strerror(errno));
  if (child > 0) {
    writing.Reset();
    (void)waitpid(child, nullptr, 0);  // leaves at once
    return WaitForDaemon(reading.Get());
  }
  (void)setsid();               // fails for a group leader only, which a child is not
  const pid_t daemon = fork();  // one that leads no session never gets a terminal again
  if (daemon != 0) _exit(daemon < 0 ? 1 : 0);
  reading.Reset();
  LeaveTerminal();
  readiness = Readiness(std::move(writing));
  return std::nullopt;
}

}  // namespace wpd
