// The request that a client sends to the simulated camera.
#pragma once

#include <optional>
#include <string>

namespace camsim {

struct Request {
  std::string path;           ///< with its leading slash, without a query
  std::string authorization;  ///< value of the Authorization header; empty without one
};

/// Reads the head of a request from a socket; nothing when it is no GET, is longer than 16 KiB or
/// takes longer than 10 seconds.
std::optional<Request> ReadRequest(int fd);

}  // namespace camsim
