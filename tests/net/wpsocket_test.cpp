#include "net/wpsocket.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "net/interrupt.h"
#include "support/fakecamera.h"
#include "support/process.h"

namespace {

constexpr auto kClose = FakeCamera::After::kClose;
constexpr auto kHold = FakeCamera::After::kHold;
constexpr char kRequest[] = "x\r\n\r\n";

// A socket that is connected to a camera, which sends `reply`.
struct Connected {
  Connected(const std::string& reply, int timeout, FakeCamera::After after)
      : camera({reply}, after) {
    socket.SetSocketInfo("127.0.0.1", camera.Port(), timeout);
    EXPECT_EQ(socket.BuildConnect(), 0);
    EXPECT_EQ(socket.WriteData(kRequest, 5), 5);
  }
  int Read(int size) { return socket.ReadData(bytes.data(), size); }

  FakeCamera camera;
  WPSocket socket;
  std::array<char, 10> bytes{};
};

TEST(Socket, DeliversExactlyWhatIsAskedForAcrossReads) {
  std::string sent;
  for (int i = 0; i < 200000; ++i) sent += static_cast<char>(i * 7 % 251);
  for (const int timeout : {-1, 5}) {
    Connected peer(sent, timeout, kClose);
    std::string got(sent.size() + 10, '\0');
    EXPECT_EQ(peer.Read(0), 0);
    int held = 0;
    for (const int piece : {1, 70000, 3, 65536, 100000}) {
      const int room = static_cast<int>(got.size()) - held;
      const int n = peer.socket.ReadData(got.data() + held, std::min(piece, room));
      ASSERT_GE(n, 0);
      held += n;
    }
    EXPECT_EQ(got.substr(0, static_cast<std::size_t>(held)), sent) << timeout;
    EXPECT_EQ(peer.Read(1), 0) << "end of the stream";
    EXPECT_TRUE(peer.socket.VerifyConnection()) << "a peer that closed is no failure";
  }
}

TEST(Socket, PollsWithAWaitOfZeroSeconds) {
  Connected peer("", 0, kHold);
  const auto start = Clock::now();
  EXPECT_EQ(peer.Read(1), -1);
  EXPECT_LT(Clock::now() - start, milliseconds(500));
}

TEST(Socket, CountsAnExpiredWaitAsLostOnlyWhenNothingCame) {
  Connected peer("abc", 1, kHold);
  const auto start = Clock::now();
  EXPECT_EQ(peer.Read(10), 3);
  EXPECT_GE(Clock::now() - start, milliseconds(990));
  EXPECT_TRUE(peer.socket.VerifyConnection());
  EXPECT_EQ(peer.Read(10), -1);
  EXPECT_FALSE(peer.socket.VerifyConnection());
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

  Connected peer("abc", 1, kHold);
  EXPECT_EQ(peer.socket.WriteData(nullptr, 4), -1);
  EXPECT_EQ(peer.socket.WriteData(kRequest, 0), -1);
  EXPECT_EQ(peer.socket.WriteData(kRequest, -1), -1);
  EXPECT_EQ(peer.Read(-1), -1);
  EXPECT_EQ(peer.socket.ReadData(nullptr, 1), -1);
}

TEST(Socket, SurvivesWritingToAPeerThatIsGone) {
  Connected peer("", 1, kClose);
  peer.camera.Finish();
  EXPECT_TRUE(Eventually([&] { return peer.socket.WriteData(kRequest, 5) == -1; }))
      << "and no SIGPIPE";
  EXPECT_FALSE(peer.socket.VerifyConnection());
}

TEST(Socket, WaitsOnAnyDescriptorNumber) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit wide{std::min<rlim_t>(limit.rlim_max, 4096), limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &wide), 0);
  std::vector<UniqueFd> filler;
  while (filler.empty() || filler.back().Get() < 1500)
    filler.emplace_back(open("/dev/null", O_RDONLY));
  EXPECT_EQ(Connected("abc", 5, kClose).Read(3), 3);
  setrlimit(RLIMIT_NOFILE, &limit);
}

TEST(Socket, TakesManyBytesOrALongTimeForABatch) {
  int port = 0;
  const UniqueFd listener = ListenOnLoopback(1, port);
  WPSocket socket;
  socket.SetSocketInfo("127.0.0.1", port, 5);
  ASSERT_EQ(socket.BuildConnect(), 0);
  const UniqueFd peer(accept(listener.Get(), nullptr, nullptr));
  socket.SetBatch(100000, 300);
  std::string got(100000, '\0');
  const auto time_for = [&](std::size_t sent, int wanted) {
    const auto start = Clock::now();
    EXPECT_TRUE(SendAll(peer.Get(), std::string(sent, 'x')));
    EXPECT_EQ(socket.ReadData(got.data(), wanted), wanted);
    return Clock::now() - start;
  };
  EXPECT_GE(time_for(9, 5), milliseconds(290)) << "there may come more";
  EXPECT_FALSE(socket.WillWait(4));
  EXPECT_TRUE(socket.WillWait(5));
  EXPECT_LT(time_for(0, 4), milliseconds(200));
  EXPECT_LT(time_for(100000, 100000), milliseconds(200)) << "enough";
  std::thread later([&] {
    std::this_thread::sleep_for(milliseconds(700));
    (void)SendAll(peer.Get(), "y");
  });
  EXPECT_EQ(socket.ReadData(got.data(), 1), 1) << "the time-out is what it was";
  later.join();
  socket.SetBatch(0, 0);
  EXPECT_LT(time_for(1, 1), milliseconds(200));
}

TEST(Socket, StopsWaitingWhenItIsInterrupted) {
  const UniqueFd event(eventfd(0, EFD_CLOEXEC));
  Connected peer("a", 60, kHold);
  std::thread other([&] {
    std::this_thread::sleep_for(milliseconds(50));
    eventfd_write(event.Get(), 1);
  });
  const auto start = Clock::now();
  {
    const ScopedInterrupt interrupt(event.Get());
    EXPECT_EQ(peer.Read(8), 1);
    EXPECT_EQ(peer.Read(8), -1);
    EXPECT_EQ(peer.socket.WriteData(kRequest, 5), -1);
  }
  EXPECT_LT(Clock::now() - start, seconds(20));
  EXPECT_EQ(ScopedInterrupt::CurrentFd(), -1);
  other.join();
}

}  // namespace
