#include "net/ptz.h"

#include <chrono>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "base/mutex.h"
#include "net/wphttpclient.h"

namespace {

constexpr int kWait = 1;  // seconds before each read and write
// An answer that never ends is not waited for.
constexpr std::chrono::seconds kLongestAnswer{10};

// The clients of all commands: their connections stay until the process ends.
void Keep(std::unique_ptr<WPHttpClient> client) {
  static watchpost::Mutex mutex;
  static std::vector<std::unique_ptr<WPHttpClient>> kept;
  const watchpost::MutexLock lock(mutex);
  kept.push_back(std::move(client));
}

}  // namespace

Ptz::Ptz(const char* host,
         const char* port,
         const char* user,
         const char* password,
         CAM_PTZ_ID* id) noexcept {
  if (host == nullptr || port == nullptr || id == nullptr) return;
  CAMERA_CFG cameras;
  if (cameras.CCFGLoad(id->path.c_str()) != CCFG_OK ||
      cameras.CCFGGetByName(id->vendor, id->model, capability_) != CCFG_OK) {
    return;
  }
  host_ = host;
  port_ = port;
  user_ = user == nullptr ? "" : user;
  password_ = password == nullptr ? "" : password;
}

int Ptz::SendPtzRequest(std::string path) noexcept {
  std::unique_ptr<WPHttpClient> client(new (std::nothrow) WPHttpClient(
      host_, std::atoi(port_.c_str()), std::move(path), user_, password_, kWait));
  if (client == nullptr) return PTZ_ERR_CLIENT;
  WPHttpClient& camera = *client;
  Keep(std::move(client));
  if (camera.SendRequest() != HTTP_OK) return PTZ_ERR_CONNECT;
  int status = 0;
  if (camera.CheckResponse(status) != HTTP_OK) return PTZ_ERR_RESPONSE;
  const auto deadline = std::chrono::steady_clock::now() + kLongestAnswer;
  char byte = 0;
  while (camera.ReadData(&byte, 1) > 0 && std::chrono::steady_clock::now() < deadline) {
  }
  return PTZ_OK;
}

int Ptz::Command(Getter getter) noexcept {
  std::string path;
  if ((capability_.*getter)(path) != CCFG_OK) return PTZ_ERR_UNSUPPORTED;
  return SendPtzRequest(path);
}

int Ptz::MoveUp() noexcept {
  return Command(&CAM_CFG_SECTION::CCSGetPathTiltUp);
}

int Ptz::MoveDown() noexcept {
  return Command(&CAM_CFG_SECTION::CCSGetPathTiltDown);
}

int Ptz::MoveLeft() noexcept {
  return Command(&CAM_CFG_SECTION::CCSGetPathPanLeft);
}

int Ptz::MoveRight() noexcept {
  return Command(&CAM_CFG_SECTION::CCSGetPathPanRight);
}

int Ptz::GoHome() noexcept {
  return Command(&CAM_CFG_SECTION::CCSGetPathHomePos);
}

int Ptz::ZoomIn() noexcept {
  return Command(&CAM_CFG_SECTION::CCSGetPathZoomIn);
}

int Ptz::ZoomOut() noexcept {
  return Command(&CAM_CFG_SECTION::CCSGetPathZoomOut);
}
