// Any bytes as a camera's answer: the HTTP head, the multipart stream and its parts, through a real
// connection.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "base/uniquefd.h"
#include "net/multipartfetch.h"

namespace {

// Answers every connection with the bytes at hand, and closes it.
class Camera {
 public:
  Camera() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_.Get(), generic, size) != 0 || listen(listener_.Get(), 16) != 0 ||
        getsockname(listener_.Get(), generic, &size) != 0) {
      std::abort();
    }
    port_ = ntohs(address.sin_port);
    std::thread([this] { Serve(); }).detach();
  }

  void Answer(const std::uint8_t* data, std::size_t size) {
    const std::lock_guard lock(mutex_);
    bytes_.assign(data, data + size);
  }

  [[nodiscard]] int Port() const { return port_; }

 private:
  void Serve() {
    for (;;) {
      const watchpost::UniqueFd client(accept(listener_.Get(), nullptr, nullptr));
      const linger at_once{1, 0};  // leaves no closed connection behind that would use the ports up
      (void)setsockopt(client.Get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
      char request[512];
      (void)recv(client.Get(), request, sizeof request, 0);
      const std::lock_guard lock(mutex_);
      (void)send(client.Get(), bytes_.data(), bytes_.size(), MSG_NOSIGNAL);
      (void)shutdown(client.Get(), SHUT_WR);
      (void)recv(client.Get(), request, sizeof request, 0);  // until the reader is done
    }
  }

  watchpost::UniqueFd listener_;
  int port_ = 0;
  std::mutex mutex_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Camera camera;
  camera.Answer(data, size);
  MultipartFetch fetch("127.0.0.1", camera.Port(), "s", "u", "p");
  std::vector<unsigned char> buffer(4096);
  for (int part = 0; part < 8; ++part) {
    unsigned int length = 0;
    char type[16];
    if (fetch.NextPartInfo(length, type, sizeof type) != MF_OK) break;
    const MF_STATUS status =
        fetch.FetchContent(buffer.data(), static_cast<unsigned int>(buffer.size()));
    if (status == MF_ERR_BUFFER_SMALL) fetch.DropData();
    if (status != MF_OK) break;
  }
  return 0;
}
