// Moves a camera's lens: one HTTP request a command, to the path that the capability file gives.
// One thread uses an object. For programs that end soon: each command leaves its connection open
// until the process ends.
#pragma once

#include <string>

#include "base/export.h"
#include "camera/cameracfg.h"

/// Which entry of which capability file.
struct __tag_CAM_PTZ_ID {
  std::string path;
  std::string vendor;
  std::string model;
};
using CAM_PTZ_ID = __tag_CAM_PTZ_ID;

/// Results of the commands.
enum PTZ_STATUS : int {
  PTZ_OK = 0,               ///< the camera answered 2xx
  PTZ_ERR_RESPONSE = 2,     ///< it answered otherwise
  PTZ_ERR_UNSUPPORTED = 3,  ///< it has no path for the command; nothing was sent
  PTZ_ERR_CONNECT = 4,      ///< the request could not be sent
  PTZ_ERR_CLIENT = 5,       ///< no memory
};

class WATCHPOST_API Ptz {
 public:
  /// `host`, `port` (decimal) and `id` must not be null; user and password may be. Without an entry
  /// in the capability file every command is unsupported.
  Ptz(const char* host,
      const char* port,
      const char* user,
      const char* password,
      CAM_PTZ_ID* id) noexcept;

  /// Sends one request, without the path's leading "/", and reads the answer. Returns a PTZ_STATUS,
  /// as do the commands. Blocks for a second at each read that the camera does not serve.
  int SendPtzRequest(std::string path) noexcept;

  int MoveUp() noexcept;
  int MoveDown() noexcept;
  int MoveLeft() noexcept;
  int MoveRight() noexcept;
  int GoHome() noexcept;
  int ZoomIn() noexcept;
  int ZoomOut() noexcept;

 private:
  using Getter = int (CAM_CFG_SECTION::*)(std::string&) const noexcept;

  int Command(Getter getter) noexcept;

  CAM_CFG_SECTION capability_;
  std::string host_;
  std::string port_;
  std::string user_;
  std::string password_;
};
