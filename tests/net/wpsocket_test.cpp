#include "net/wpsocket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <thread>

#include "net/interrupt.h"
#include "support/fakecamera.h"

using watchpost::ScopedInterrupt;
using watchpost::UniqueFd;
using watchpost::test::FakeCamera;
using Clock = std::chrono::steady_clock;

namespace {

constexpr char kRequest[] = "x\r\n\r\n";

void Connect(WPSocket& socket, const FakeCamera& camera, int timeout) {
  socket.SetSocketInfo("127.0.0.1", camera.Port(), timeout);
  ASSERT_EQ(socket.BuildConnect(), 0);
  ASSERT_EQ(socket.WriteData(kRequest, 5), 5);
}

TEST(Socket, DeliversExactlyWhatIsAskedForAcrossReads) {
  std::string sent;
  for (int i = 0; i < 200000; ++i) sent += static_cast<char>(i * 7 % 251);
  for (const int timeout : {-1, 5}) {
    FakeCamera camera({sent});
    WPSocket socket;
    Connect(socket, camera, timeout);
    std::string got(sent.size() + 10, '\0');
    EXPECT_EQ(socket.ReadData(got.data(), 0), 0);
    int held = 0;
    for (const int piece : {1, 70000, 3, 65536, 100000}) {
      const int n = socket.ReadData(got.data() + held,
                                    std::min<int>(piece, static_cast<int>(got.size()) - held));
      ASSERT_GE(n, 0);
      held += n;
    }
    EXPECT_EQ(got.substr(0, static_cast<std::size_t>(held)), sent) << timeout;
    EXPECT_EQ(socket.ReadData(got.data(), 1), 0) << "end of the stream";
    EXPECT_TRUE(socket.VerifyConnection()) << "a peer that closed is no failure";
  }
}

TEST(Socket, PollsWithAWaitOfZeroSeconds) {
  FakeCamera camera({""}, FakeCamera::After::kHold);
  WPSocket socket;
  Connect(socket, camera, 0);
  char byte = 0;
  const auto start = Clock::now();
  EXPECT_EQ(socket.ReadData(&byte, 1), -1);
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
}

TEST(Socket, CountsAnExpiredWaitAsLostOnlyWhenNothingCame) {
  FakeCamera camera({"abc"}, FakeCamera::After::kHold);
  WPSocket socket;
  Connect(socket, camera, 1);
  std::array<char, 10> buffer;
  const auto start = Clock::now();
  EXPECT_EQ(socket.ReadData(buffer.data(), 10), 3);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(990));
  EXPECT_TRUE(socket.VerifyConnection());
  EXPECT_EQ(socket.ReadData(buffer.data(), 10), -1);
  EXPECT_FALSE(socket.VerifyConnection());
}

TEST(Socket, RefusesWhatItCannotDo) {
  WPSocket socket;
  std::array<char, 4> buffer{};
  EXPECT_EQ(socket.WriteData(buffer.data(), 4), -1) << "never connected";
  EXPECT_EQ(socket.ReadData(buffer.data(), 4), -1);
  socket.SetSocketInfo("no.such.host.invalid", 80, 5);
  EXPECT_EQ(socket.BuildConnect(), -1);
  socket.SetSocketInfo("127.0.0.1", 1, 5);
  EXPECT_EQ(socket.BuildConnect(), -1) << "nobody listens";
  EXPECT_FALSE(socket.VerifyConnection());

  FakeCamera camera({"abc"}, FakeCamera::After::kHold);
  Connect(socket, camera, 1);
  EXPECT_EQ(socket.WriteData(nullptr, 4), -1);
  EXPECT_EQ(socket.WriteData(buffer.data(), 0), -1);
  EXPECT_EQ(socket.WriteData(buffer.data(), -1), -1);
  EXPECT_EQ(socket.ReadData(buffer.data(), -1), -1);
  EXPECT_EQ(socket.ReadData(nullptr, 1), -1);
}

TEST(Socket, SurvivesWritingToAPeerThatIsGone) {
  FakeCamera camera({""});
  WPSocket socket;
  Connect(socket, camera, 1);
  camera.Finish();
  int n = 1;
  for (int i = 0; i < 100 && n > 0; ++i) {
    n = socket.WriteData(kRequest, 5);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(n, -1) << "and no SIGPIPE";
  EXPECT_FALSE(socket.VerifyConnection());
}

TEST(Socket, WaitsOnAnyDescriptorNumber) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit wide{std::min<rlim_t>(limit.rlim_max, 4096), limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &wide), 0);
  std::vector<UniqueFd> filler;
  FakeCamera camera({"abc"});
  while (filler.empty() || filler.back().Get() < 1500)
    filler.emplace_back(open("/dev/null", O_RDONLY));
  WPSocket socket;
  Connect(socket, camera, 5);
  std::array<char, 3> buffer;
  EXPECT_EQ(socket.ReadData(buffer.data(), 3), 3);
  setrlimit(RLIMIT_NOFILE, &limit);
}

TEST(Socket, StopsWaitingWhenItIsInterrupted) {
  FakeCamera camera({"a"}, FakeCamera::After::kHold);
  const UniqueFd event(eventfd(0, EFD_CLOEXEC));
  WPSocket socket;
  Connect(socket, camera, 60);
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    eventfd_write(event.Get(), 1);
  });
  const auto start = Clock::now();
  {
    const ScopedInterrupt interrupt(event.Get());
    std::array<char, 8> buffer;
    EXPECT_EQ(socket.ReadData(buffer.data(), 8), 1);
    EXPECT_EQ(socket.ReadData(buffer.data(), 8), -1);
    EXPECT_EQ(socket.WriteData(kRequest, 5), -1);
  }
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(ScopedInterrupt::CurrentFd(), -1);
  other.join();
}

}  // namespace
