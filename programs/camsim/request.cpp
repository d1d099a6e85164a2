#include "request.h"

#include <strings.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <string_view>

namespace camsim {
namespace {

constexpr std::size_t kLongestHead = 16384;
constexpr std::string_view kAuthorization = "Authorization:";

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::optional<std::string> ReadHead(int fd) {
  const timeval limit{10, 0};
  (void)setsockopt(
      fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);  // a client that hangs costs one thread
  std::string head;
  std::array<char, 2048> buffer;
  while (head.size() < kLongestHead) {
    const ssize_t n = recv(fd, buffer.data(), buffer.size(), 0);
    if (n <= 0) return std::nullopt;
    head.append(buffer.data(), static_cast<std::size_t>(n));
    if (head.find("\r\n\r\n") != std::string::npos || head.find("\n\n") != std::string::npos)
      return head;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Request> ReadRequest(int fd) {
  const std::optional<std::string> head = ReadHead(fd);
  if (!head || !head->starts_with("GET /")) return std::nullopt;
  Request request;
  request.path = head->substr(4, head->find_first_of(" ?\r\n", 4) - 4);
  std::string_view rest = *head;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    if (line.size() > kAuthorization.size() &&
        strncasecmp(line.data(), kAuthorization.data(), kAuthorization.size()) == 0) {
      request.authorization = Trim(line.substr(kAuthorization.size()));
    }
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  return request;
}

}  // namespace camsim
