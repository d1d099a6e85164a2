// Addresses of camera streams as people write them.
#pragma once

#include <optional>
#include <string>

namespace wpctl {

struct CameraUrl {
  std::string host;
  int port = 80;
  std::string path;  ///< without its leading slash
  std::string user;  ///< percent-decoded; empty without one
  std::string password;
};

/// Reads "[http://][USER[:PASSWORD]@]HOST[:PORT][/PATH]". Nothing, with `error` saying what is
/// right, when it is no such address.
std::optional<CameraUrl> ParseCameraUrl(const std::string& text, std::string& error);

/// Whether the text begins with a scheme, as "http://host" does.
bool IsUrl(const std::string& text);

/// A stream path as it is stored: without its leading slashes. False, with `error`, for one that
/// cannot stand in a request line.
bool NormalizePath(std::string& path, std::string& error);

/// Whether `host` can be one: not empty, no blanks, control characters or slashes.
bool IsHost(const std::string& host);

}  // namespace wpctl
