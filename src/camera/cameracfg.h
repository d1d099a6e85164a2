// The camera capability file: by vendor and model, a camera's usual port and the paths of its
// stream and of its pan, tilt and zoom commands. Logs nothing.
//
// A key-value file (platform/olibfile.h). Section "camera*list" holds a key "VENDOR*MODEL" for each
// camera, whose value names the section with the keys of gCFGKey.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/export.h"

enum CCFG_STATUS : int {
  CCFG_OK = 0,
  CCFG_ERR_SECTION = 1,      ///< a camera's section could not be read
  CCFG_ERR_PARAM = 2,        ///< null path, or no entry of that index
  CCFG_ERR_MEMORY = 3,       ///< a list or hash could not be allocated
  CCFG_ERR_NOT_FOUND = 4,    ///< no entry of that vendor and model
  CCFG_ERR_LIST = 5,         ///< no "camera*list", or a camera in it without a section's name
  CCFG_ERR_UNSUPPORTED = 6,  ///< the entry has no such value
};

/// The nine keys of a camera's section, and "end of key".
WATCHPOST_API extern const char* const gCFGKey[10];

/// Number of keys in gCFGKey.
WATCHPOST_API int GetKeyCount() noexcept;

/// What is known of one camera. A path that it does not support is "N/A", an unset port -1.
class WATCHPOST_API CAM_CFG_SECTION {
 public:
  /// Each copies the value out and returns CCFG_OK, or CCFG_ERR_UNSUPPORTED when it is "N/A" or -1.
  /// Paths have no leading "/".
  int CCSGetPort(int& port) const noexcept;
  int CCSGetCamVendor(std::string& vendor) const noexcept;
  int CCSGetCamModelNo(std::string& model) const noexcept;
  int CCSGetPathVideoSrc(std::string& path) const noexcept;
  int CCSGetPathPanLeft(std::string& path) const noexcept;
  int CCSGetPathPanRight(std::string& path) const noexcept;
  int CCSGetPathTiltUp(std::string& path) const noexcept;
  int CCSGetPathTiltDown(std::string& path) const noexcept;
  int CCSGetPathZoomIn(std::string& path) const noexcept;
  int CCSGetPathZoomOut(std::string& path) const noexcept;
  int CCSGetPathHomePos(std::string& path) const noexcept;

  void CCSSetPort(int port) noexcept { port_ = port; }
  void CCSSetCamVendor(std::string vendor) noexcept { vendor_ = std::move(vendor); }
  void CCSSetCamModelNo(std::string model) noexcept { model_ = std::move(model); }
  void CCSSetPathVideoSrc(std::string path) noexcept { video_source_ = std::move(path); }
  void CCSSetPathPanLeft(std::string path) noexcept { pan_left_ = std::move(path); }
  void CCSSetPathPanRight(std::string path) noexcept { pan_right_ = std::move(path); }
  void CCSSetPathTiltUp(std::string path) noexcept { tilt_up_ = std::move(path); }
  void CCSSetPathTiltDown(std::string path) noexcept { tilt_down_ = std::move(path); }
  void CCSSetPathZoomIn(std::string path) noexcept { zoom_in_ = std::move(path); }
  void CCSSetPathZoomOut(std::string path) noexcept { zoom_out_ = std::move(path); }
  void CCSSetPathHomePos(std::string path) noexcept { home_position_ = std::move(path); }

  /// Copies every field of `other`.
  void CCSectionCopy(const CAM_CFG_SECTION& other) noexcept { *this = other; }

  /// By vendor and, when those are equal, by model. Of two names of which one begins with the other
  /// neither is less, so that this is no strict weak order: not for std::sort.
  bool operator<(const CAM_CFG_SECTION& other) const noexcept;

 private:
  friend class CAMERA_CFG;

  std::int32_t port_ = -1;
  std::string vendor_ = "N/A";
  std::string model_ = "N/A";
  std::string video_source_ = "N/A";
  std::string pan_left_ = "N/A";
  std::string pan_right_ = "N/A";
  std::string tilt_up_ = "N/A";
  std::string tilt_down_ = "N/A";
  std::string zoom_in_ = "N/A";
  std::string zoom_out_ = "N/A";
  std::string home_position_ = "N/A";
};

class WATCHPOST_API CAMERA_CFG {
 public:
  /// Adds the cameras of a file to those held, and sorts all. Returns CCFG_OK, _ERR_PARAM,
  /// _ERR_MEMORY, _ERR_LIST or _ERR_SECTION; what was read before a failure stays, unsorted. A
  /// camera without a port gets 0.
  int CCFGLoad(const char* path) noexcept;

  /// Copies an entry. CCFG_ERR_PARAM without one of that index.
  int CCFGGetByIndex(int index, CAM_CFG_SECTION& out) const noexcept;

  /// Copies the first entry of exactly that vendor and model. CCFG_ERR_NOT_FOUND without one.
  int CCFGGetByName(std::string vendor, std::string model, CAM_CFG_SECTION& out) const noexcept;

  [[nodiscard]] int CCFGGetCount() const noexcept { return static_cast<int>(entries_.size()); }

  /// Sorts the entries; always CCFG_OK.
  int CCFGSort() noexcept;

  /// Stores the value of a key of gCFGKey; -1 for another key.
  int AssignKeyToEvent(CAM_CFG_SECTION& entry, const char* key, const char* value) noexcept;

  /// Splits `name` in place at "*" into vendor and model; -1 for null.
  int SetVendorModelToEvent(char* name, CAM_CFG_SECTION& entry) noexcept;

 private:
  std::vector<CAM_CFG_SECTION> entries_;
};
