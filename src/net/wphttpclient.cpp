#include "net/wphttpclient.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "base/decimal_internal.h"
#include "base/utils.h"
#include "net/headline_internal.h"

namespace {

constexpr std::size_t kLineSize = 2048;
constexpr std::size_t kRequestLineSize = 65536;
constexpr int kLongestHead = 15;  // lines
constexpr char kNameEnd[] = " :;=";
constexpr char kEndOfHead[] = "\r\n";

using Line = std::array<char, kLineSize>;

struct FreeDeleter {
  void operator()(char* text) const noexcept { std::free(text); }
};

}  // namespace

WPHttpClient::WPHttpClient(std::string host,
                           int port,
                           std::string path,
                           std::string user,
                           std::string password,
                           int timeout) noexcept
    : path_(std::move(path)), user_(std::move(user)), password_(std::move(password)) {
  socket_.SetSocketInfo(std::move(host), port, timeout);
}

std::string WPHttpClient::GetRequest() const noexcept {
  return "GET /" + path_ + " HTTP/1.0\r\n";
}

// False when the credentials could not be encoded.
bool WPHttpClient::AddAuthorization(std::string& request) const noexcept {
  if (user_.empty() || password_.empty()) return true;
  const std::unique_ptr<char, FreeDeleter> encoded(
      HttpBase64Encode((user_ + ":" + password_).c_str()));
  if (encoded == nullptr) return false;
  Line line;
  (void)std::snprintf(line.data(), line.size(), "Authorization: Basic %s\r\n", encoded.get());
  request += line.data();
  return true;
}

// In one piece, as far as the kernel takes it: there are cameras that look at the first packet
// only.
bool WPHttpClient::WriteAll(const std::string& request) noexcept {
  std::size_t written = 0;
  while (written < request.size()) {
    const int n =
        socket_.WriteData(request.data() + written, static_cast<int>(request.size() - written));
    if (n <= 0) return false;
    written += static_cast<std::size_t>(n);
  }
  return true;
}

int WPHttpClient::SendRequest() noexcept {
  if (socket_.BuildConnect() != 0) return HTTP_ERR_IO;
  std::string request = GetRequest();
  request.resize(std::min(request.size(), kRequestLineSize - 1));
  if (!AddAuthorization(request) || !WriteAll(request + kEndOfHead)) return HTTP_ERR_IO;
  state_ = kRequestSent;
  result_ = CheckHttpResponse();
  return HTTP_OK;
}

int WPHttpClient::CheckResponse(int& statusCode) const noexcept {
  statusCode = status_code_;
  return result_;
}

int WPHttpClient::CheckHttpResponse() noexcept {
  status_code_ = 0;
  if (state_ != kRequestSent) return HTTP_ERR_STATE;
  Line line;
  if (ReadToLineEnd(line.data(), static_cast<int>(line.size())) < 0) return HTTP_ERR_IO;
  char* rest = nullptr;
  const char* version = strtok_r(line.data(), " ", &rest);
  if (version == nullptr) return HTTP_ERR_IO;
  if (!watchpost::StartsWith(version, "HTTP/1.0") && !watchpost::StartsWith(version, "HTTP/1.1")) {
    return HTTP_ERR_RESPONSE;
  }
  const char* status = strtok_r(nullptr, " ", &rest);
  if (status == nullptr) return HTTP_ERR_IO;
  status_code_ = watchpost::DecimalToInt(status);
  if (status_code_ / 100 == 2) return CheckContentType();
  return watchpost::StartsWith(status, "401") ? HTTP_ERR_UNAUTHORIZED : HTTP_ERR_RESPONSE;
}

// The first Content-Type line ends the head as far as this client is concerned: a camera's part
// headers, and a Content-Length that follows, stay in the stream for the caller. An empty line does
// not end it.
int WPHttpClient::CheckContentType() noexcept {
  headers_.clear();
  for (int lines = 0; lines < kLongestHead; ++lines) {
    Line line;
    if (ReadToLineEnd(line.data(), static_cast<int>(line.size())) < 0) return HTTP_ERR_IO;
    if (line[0] == '\0') continue;
    watchpost::LowerCase(line.data());
    chunked_ = chunked_ || watchpost::AnnouncesChunks(line.data());
    char* rest = nullptr;
    const char* name = strtok_r(line.data(), kNameEnd, &rest);
    if (name == nullptr) return HTTP_ERR_IO;
    const bool is_type = watchpost::StartsWith(name, "content-type");
    if (!is_type && !watchpost::StartsWith(name, "content-length")) continue;
    const char* value = strtok_r(nullptr, "", &rest);
    if (value == nullptr) return HTTP_ERR_IO;
    headers_.emplace(is_type ? HTTP_CONTENT_TYPE : HTTP_CONTENT_LENGTH, value);
    if (is_type) break;
  }
  state_ = kHeadRead;
  return HTTP_OK;
}

int WPHttpClient::ReadToLineEnd(char* buf, int size) noexcept {
  const auto read_byte = [this](char* byte) { return socket_.ReadData(byte, 1); };
  return watchpost::ReadHeadLine(buf, size, read_byte, watchpost::MissingLineFeed::kFails);
}

int WPHttpClient::GetHttpContent(HTTP_MAP_KEY key, std::string& value) const noexcept {
  if (static_cast<unsigned>(key) > HTTP_CONTENT_LENGTH) return HTTP_ERR_KEY;
  if (state_ != kHeadRead) return HTTP_ERR_STATE;
  const auto found = headers_.find(key);
  if (found == headers_.end()) return HTTP_ERR_NOT_FOUND;
  value = found->second;
  return HTTP_OK;
}

int WPHttpClient::ReadData(char* buf, int len) noexcept {
  return state_ == kHeadRead ? socket_.ReadData(buf, len) : -1;
}

int WPHttpClient::ReadThrough(char* buf, int room, std::string_view end) noexcept {
  return state_ == kHeadRead ? socket_.ReadThrough(buf, room, end) : -1;
}

int WPHttpClient::WriteData(const char* buf, int len) noexcept {
  return state_ == kHeadRead ? socket_.WriteData(buf, len) : -1;
}
