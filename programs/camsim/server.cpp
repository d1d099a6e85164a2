#include "server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <watchpost/base/utils.h>

#include <cstdlib>

#include "request.h"

namespace camsim {
namespace {

constexpr std::size_t kMostConnections = 64;
constexpr char kLensPath[] = "/ptz/";
constexpr char kFaultPath[] = "/fault/";

std::string BasicCredentials(const std::string& user, const std::string& password) {
  char* encoded = HttpBase64Encode((user + ":" + password).c_str());
  std::string value = std::string("Basic ") + encoded;
  std::free(encoded);
  return value;
}

}  // namespace

Server::Server(ServerOptions options, std::unique_ptr<FrameSource> frames, Fault fault)
    : options_(std::move(options)), frames_(std::move(frames)) {
  faults_.Set(fault);
}

Server::~Server() {
  Stop();
}

int Server::Listen() {
  listener_.Reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int on = 1;
  (void)setsockopt(
      listener_.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);  // bind shows when it matters
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(options_.port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener_.Get(), generic, size) != 0 || listen(listener_.Get(), 16) != 0) return -1;
  if (getsockname(listener_.Get(), generic, &size) != 0) return -1;
  return ntohs(address.sin_port);
}

void Server::Start() {
  acceptor_ = std::thread([this] { AcceptLoop(); });
}

void Server::Stop() {
  (void)shutdown(listener_.Get(), SHUT_RDWR);  // ends accept
  if (acceptor_.joinable()) acceptor_.join();
  {
    const std::lock_guard lock(mutex_);
    for (const Connection& connection : connections_)
      (void)shutdown(connection.fd.Get(), SHUT_RDWR);
  }
  for (Connection& connection : connections_) connection.thread.join();
  connections_.clear();
}

void Server::AcceptLoop() {
  for (;;) {
    const int fd = accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) return;
    watchpost::UniqueFd client(fd);
    JoinFinished();
    const std::lock_guard lock(mutex_);
    if (connections_.size() >= kMostConnections) continue;
    Connection& connection = connections_.emplace_back();
    connection.fd = std::move(client);
    connection.thread = std::thread([this, &connection] {
      Serve(connection.fd.Get());
      (void)shutdown(connection.fd.Get(), SHUT_RDWR);
      const std::lock_guard done_lock(mutex_);
      connection.done = true;
    });
  }
}

void Server::JoinFinished() {
  const std::lock_guard lock(mutex_);
  for (auto connection = connections_.begin(); connection != connections_.end();) {
    if (!connection->done) {
      ++connection;
      continue;
    }
    connection->thread.join();
    connection = connections_.erase(connection);
  }
}

void Server::Serve(int fd) {
  const int on = 1;
  (void)setsockopt(
      fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // frames go out when they are due
  const std::optional<Request> request = ReadRequest(fd);
  if (!request) return SendStatus(fd, "400 Bad Request", "", "GET is all this camera understands.");
  if (request->path.starts_with(kFaultPath))
    return SwitchFault(fd, request->path.substr(sizeof kFaultPath - 1));
  const Fault fault = faults_.Get();
  const bool authorized =
      options_.user.empty() ||
      request->authorization == BasicCredentials(options_.user, options_.password);
  if (!authorized || (fault.kind == FaultKind::kStatus && fault.value == 401)) {
    return SendStatus(
        fd, "401 Unauthorized", "WWW-Authenticate: Basic realm=\"camsim\"\r\n", "Who are you?");
  }
  if (fault.kind == FaultKind::kStatus && fault.value == 500) {
    return SendStatus(fd, "500 Internal Server Error", "", "This camera is out of order.");
  }
  if (request->path.starts_with(kLensPath) && options_.lens != nullptr &&
      options_.lens->Move(request->path.substr(sizeof kLensPath - 1))) {
    return SendStatus(fd, "200 OK", "", "Moved.");
  }
  const bool video = request->path == "/video.mjpg";
  const bool snapshot = request->path == "/snapshot.jpg";
  if (fault.kind == FaultKind::kStatus || (!video && !snapshot)) {
    return SendStatus(fd, "404 Not Found", "", "Try /video.mjpg or /snapshot.jpg.");
  }
  if (video) {
    SendStream(fd, *frames_, faults_, options_.stream);
  } else {
    SendSnapshot(fd, *frames_, faults_, options_.stream);
  }
}

void Server::SwitchFault(int fd, const std::string& name) {
  const std::optional<Fault> fault = ParseFault(name);
  if (!fault)
    return SendStatus(fd, "400 Bad Request", "", std::string("A fault is ") + kFaultHelp + ".");
  faults_.Set(*fault);
  SendStatus(fd, "200 OK", "", "Fault: " + name);
}

}  // namespace camsim
