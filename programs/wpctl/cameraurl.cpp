#include "cameraurl.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string_view>

namespace wpctl {
namespace {

constexpr char kForm[] = "an address is http://[USER:PASSWORD@]HOST[:PORT]/PATH";

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const int letter = std::tolower(static_cast<unsigned char>(c));
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

std::string PercentDecode(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
                        HexValue(text[i + 2]) >= 0;
    decoded +=
        escape ? static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2])) : text[i];
    if (escape) i += 2;
  }
  return decoded;
}

bool ParsePort(std::string_view text, int& port) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() && port >= 1 && port <= 65535;
}

}  // namespace

bool IsUrl(const std::string& text) {
  const std::size_t scheme = text.find("://");
  return scheme != std::string::npos && scheme > 0 && scheme < text.find_first_of("/?#");
}

bool IsHost(const std::string& host) {
  const auto wrong = [](unsigned char c) {
    return c <= ' ' || c == 0x7F || c == '/' || c == '@' || c == ':' || c == '?';
  };
  return !host.empty() && host.size() <= 256 && std::none_of(host.begin(), host.end(), wrong);
}

bool NormalizePath(std::string& path, std::string& error) {
  path.erase(0, path.find_first_not_of('/'));
  if (path.find_first_not_of('/') == std::string::npos) path.clear();
  const auto wrong = [](unsigned char c) { return c <= ' ' || c == 0x7F; };
  if (std::any_of(path.begin(), path.end(), wrong)) {
    error = "a stream path holds no blanks or control characters; write a blank as %20";
    return false;
  }
  if (path.size() > 512) {
    error = "a stream path is at most 512 bytes long";
    return false;
  }
  return true;
}

std::optional<CameraUrl> ParseCameraUrl(const std::string& text, std::string& error) {
  std::string_view rest = text;
  rest = rest.substr(0, rest.find('#'));
  if (IsUrl(text)) {
    std::string scheme(rest.substr(0, rest.find("://")));
    std::transform(scheme.begin(), scheme.end(), scheme.begin(), [](unsigned char c) {
      return std::tolower(c);
    });
    if (scheme != "http") {
      error = "cameras are reached by http:// only, not " + scheme + "://";
      return std::nullopt;
    }
    rest.remove_prefix(scheme.size() + 3);
  }
  CameraUrl url;
  const std::size_t authority_end = std::min(rest.find_first_of("/?"), rest.size());
  std::string_view authority = rest.substr(0, authority_end);
  url.path = rest.substr(authority_end);
  const std::size_t at = authority.rfind('@');
  if (at != std::string_view::npos) {
    const std::string_view login = authority.substr(0, at);
    const std::size_t colon = login.find(':');
    url.user = PercentDecode(login.substr(0, colon));
    if (colon != std::string_view::npos) url.password = PercentDecode(login.substr(colon + 1));
    authority.remove_prefix(at + 1);
  }
  const std::size_t colon = authority.find(':');
  url.host = authority.substr(0, colon);
  const bool port_fits =
      colon == std::string_view::npos || ParsePort(authority.substr(colon + 1), url.port);
  if (!port_fits || !IsHost(url.host)) {
    error = std::string(kForm) + ", not \"" + text + "\"";
    return std::nullopt;
  }
  if (!NormalizePath(url.path, error)) return std::nullopt;
  return url;
}

}  // namespace wpctl
