// Reading a multipart stream over loopback, beside a bare recv() loop into a 64 KiB buffer plus one
// copy.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <watchpost/base/uniquefd.h>
#include <watchpost/net/multipartfetch.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ratios.h"

namespace {

constexpr std::size_t kFrameSize = 40000;
constexpr std::size_t kFrames = 4000;

// Sends a stream of frames to every client.
class Camera {
 public:
  Camera() : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    (void)bind(listener_.Get(), generic, size);
    (void)listen(listener_.Get(), 4);
    (void)getsockname(listener_.Get(), generic, &size);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { Serve(); });
  }
  ~Camera() {
    (void)shutdown(listener_.Get(), SHUT_RDWR);
    thread_.join();
  }
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  [[nodiscard]] int Port() const { return port_; }

 private:
  void Serve() {
    const std::string head =
        "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=b\r\n\r\n--b\r\n";
    const std::string part =
        "Content-Type: image/jpeg\r\nContent-Length: " + std::to_string(kFrameSize) + "\r\n\r\n" +
        std::string(kFrameSize, 'x') + "\r\n--b\r\n";
    for (;;) {
      const watchpost::UniqueFd client(accept(listener_.Get(), nullptr, nullptr));
      if (!client.IsValid()) return;
      char request[512];
      std::string
          head_of_request;  // to its end: closing with part of it unread would reset the connection
      while (head_of_request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t n = recv(client.Get(), request, sizeof request, 0);
        if (n <= 0) break;
        head_of_request.append(request, static_cast<std::size_t>(n));
      }
      (void)send(client.Get(), head.data(), head.size(), MSG_NOSIGNAL);
      for (std::size_t i = 0; i < kFrames; ++i) {
        if (send(client.Get(), part.data(), part.size(), MSG_NOSIGNAL) < 0) break;
      }
    }
  }

  watchpost::UniqueFd listener_;
  int port_ = 0;
  std::thread thread_;
};

Camera& TheCamera() {
  static Camera camera;
  return camera;
}

void FetchParts(benchmark::State& state) {
  std::vector<unsigned char> frame(kFrameSize);
  for (auto _ : state) {
    MultipartFetch fetch("127.0.0.1", TheCamera().Port(), "s", "", "");
    for (std::size_t i = 0; i < kFrames; ++i) {
      unsigned int length = 0;
      char type[64];
      if (fetch.NextPartInfo(length, type, sizeof type) != MF_OK)
        return state.SkipWithError("part");
      if (fetch.FetchContent(frame.data(), kFrameSize) != MF_OK)
        return state.SkipWithError("content");
    }
  }
}

void ReceiveBarely(benchmark::State& state) {
  std::vector<char> buffer(65536);
  std::vector<char> copy(65536);
  for (auto _ : state) {
    const watchpost::UniqueFd fd(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(TheCamera().Port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      return state.SkipWithError("connect");
    }
    (void)send(fd.Get(), "GET / HTTP/1.0\r\n\r\n", 18, MSG_NOSIGNAL);
    for (;;) {
      const ssize_t n = recv(fd.Get(), buffer.data(), buffer.size(), 0);
      if (n <= 0) break;
      std::memcpy(copy.data(), buffer.data(), static_cast<std::size_t>(n));
      benchmark::DoNotOptimize(copy.data());
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("read-4000-parts/ours", FetchParts)->Iterations(5)->UseRealTime();
  benchmark::RegisterBenchmark("read-4000-parts/bare", ReceiveBarely)->Iterations(5)->UseRealTime();
  return bench::RunRatios(argc, argv);
}
