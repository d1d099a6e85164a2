#include "support/fakecamera.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace watchpost::test {
namespace {

sockaddr_in Loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

}  // namespace

std::string ReadRequest(int fd) {
  const timeval limit{1, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::string request;
  std::array<char, 4096> buffer;
  while (request.find("\r\n\r\n") == std::string::npos) {
    const ssize_t n = recv(fd, buffer.data(), buffer.size(), 0);
    if (n <= 0) break;
    request.append(buffer.data(), static_cast<std::size_t>(n));
  }
  return request;
}

bool SendAll(int fd, const std::string& bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t n = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) return false;
    sent += static_cast<std::size_t>(n);
  }
  return true;
}

UniqueFd ListenOnLoopback(int queue, int& port) {
  UniqueFd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address = Loopback(0);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  EXPECT_EQ(bind(listener.Get(), generic, size), 0);
  EXPECT_EQ(listen(listener.Get(), queue), 0);
  EXPECT_EQ(getsockname(listener.Get(), generic, &size), 0);
  port = ntohs(address.sin_port);
  return listener;
}

FullListener::FullListener() {
  sockets_.push_back(ListenOnLoopback(0, port_));
  const sockaddr_in address = Loopback(port_);
  for (int i = 0; i < 4; ++i) {
    sockets_.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    (void)connect(
        sockets_.back().Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }
}

FakeCamera::FakeCamera(std::vector<std::string> replies, After after, First first)
    : replies_(std::move(replies)), after_(after), first_(first) {
  listener_ = ListenOnLoopback(8, port_);
  thread_ = std::thread([this] { Serve(); });
}

FakeCamera::~FakeCamera() {
  Finish();
}

void FakeCamera::Finish() {
  shutdown(listener_.Get(), SHUT_RDWR);
  if (thread_.joinable()) thread_.join();
  held_.clear();
}

void FakeCamera::Serve() {
  for (;;) {
    UniqueFd client(accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client.IsValid()) return;
    requests_.push_back(first_ == First::kClient ? ReadRequest(client.Get()) : "");
    (void)SendAll(client.Get(), replies_[std::min(requests_.size(), replies_.size()) - 1]);
    if (after_ == After::kHold) held_.push_back(std::move(client));
  }
}

}  // namespace watchpost::test
