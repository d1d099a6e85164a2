#include "camera/cameracfg.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <tuple>
#include <utility>

#include "platform/keyvaluefile.h"
#include "platform/olibszhash.h"
#include "platform/olibszlist.h"

const char* const gCFGKey[10] = {"port",
                                 "video source",
                                 "pan left",
                                 "pan right",
                                 "tilt up",
                                 "tilt down",
                                 "zoom in",
                                 "zoom out",
                                 "home pos",
                                 "end of key"};

namespace {

constexpr int kCapacity = 512;
constexpr int kUnset = -1;
constexpr char kUnsupported[] = "N/A";
constexpr char kCameras[] = "camera*list";
constexpr std::string_view kEnd = "end of key";

int Get(const std::string& value, std::string& out) {
  out = value;
  return value == kUnsupported ? CCFG_ERR_UNSUPPORTED : CCFG_OK;
}

// Whether `a` has the smaller byte where they first differ; not when they differ in length only.
bool StringCompareLessThan(const std::string& a, const std::string& b) {
  const std::size_t length = std::min(a.size(), b.size());
  return std::memcmp(a.data(), b.data(), length) < 0;
}

}  // namespace

int GetKeyCount() noexcept {
  int count = 0;
  while (std::string_view(gCFGKey[count]).substr(0, kEnd.size()) != kEnd) ++count;
  return count;
}

int CAM_CFG_SECTION::CCSGetPort(int& port) const noexcept {
  port = port_;
  return port_ == kUnset ? CCFG_ERR_UNSUPPORTED : CCFG_OK;
}

int CAM_CFG_SECTION::CCSGetCamVendor(std::string& vendor) const noexcept {
  return Get(vendor_, vendor);
}

int CAM_CFG_SECTION::CCSGetCamModelNo(std::string& model) const noexcept {
  return Get(model_, model);
}

int CAM_CFG_SECTION::CCSGetPathVideoSrc(std::string& path) const noexcept {
  return Get(video_source_, path);
}

int CAM_CFG_SECTION::CCSGetPathPanLeft(std::string& path) const noexcept {
  return Get(pan_left_, path);
}

int CAM_CFG_SECTION::CCSGetPathPanRight(std::string& path) const noexcept {
  return Get(pan_right_, path);
}

int CAM_CFG_SECTION::CCSGetPathTiltUp(std::string& path) const noexcept {
  return Get(tilt_up_, path);
}

int CAM_CFG_SECTION::CCSGetPathTiltDown(std::string& path) const noexcept {
  return Get(tilt_down_, path);
}

int CAM_CFG_SECTION::CCSGetPathZoomIn(std::string& path) const noexcept {
  return Get(zoom_in_, path);
}

int CAM_CFG_SECTION::CCSGetPathZoomOut(std::string& path) const noexcept {
  return Get(zoom_out_, path);
}

int CAM_CFG_SECTION::CCSGetPathHomePos(std::string& path) const noexcept {
  return Get(home_position_, path);
}

bool CAM_CFG_SECTION::operator<(const CAM_CFG_SECTION& other) const noexcept {
  if (StringCompareLessThan(vendor_, other.vendor_)) return true;
  return vendor_ == other.vendor_ && StringCompareLessThan(model_, other.model_);
}

int CAMERA_CFG::CCFGLoad(const char* path) noexcept {
  if (path == nullptr) return CCFG_ERR_PARAM;
  const watchpost::OlibListPtr names(PslOLIBSzListAlloc(kCapacity));
  const watchpost::OlibHashPtr cameras(PshOLIBSzHashAlloc(kCapacity));
  const watchpost::OlibHashPtr section(PshOLIBSzHashAlloc(kCapacity));
  if (names == nullptr || cameras == nullptr || section == nullptr) return CCFG_ERR_MEMORY;
  OLIBSZHASH* list = cameras.get();
  OLIBSZHASH* values = section.get();
  OLIBSZLIST* keys = names.get();
  // Read once, however many cameras it lists.
  const watchpost::KeyValueFile file(path);
  if (file.GetSection(kCameras, &list) < 0) return CCFG_ERR_LIST;
  const int count = OLIBSzHashEnumKey(list, &keys);
  for (int i = 0; i < count; ++i) {
    std::string name = SzOLIBSzListGet(keys, i);
    const char* section_name = SzOLIBSzHashGetValue(list, name.c_str());
    if (section_name == nullptr || *section_name == '\0') return CCFG_ERR_LIST;
    PslSzHashRemoveAll(values);
    if (file.GetSection(section_name, &values) < 0) return CCFG_ERR_SECTION;
    CAM_CFG_SECTION& entry = entries_.emplace_back();
    (void)SetVendorModelToEvent(name.data(), entry);  // the name is not null
    for (int key = 0; key < GetKeyCount(); ++key) {
      const char* value = SzOLIBSzHashGetValue(values, gCFGKey[key]);
      // A port that is missing becomes 0 by that, which callers know.
      (void)AssignKeyToEvent(entry, gCFGKey[key], value == nullptr ? kUnsupported : value);
    }
  }
  return CCFGSort();
}

int CAMERA_CFG::CCFGGetByIndex(int index, CAM_CFG_SECTION& out) const noexcept {
  if (index < 0 || index >= CCFGGetCount()) return CCFG_ERR_PARAM;
  out = entries_[static_cast<std::size_t>(index)];
  return CCFG_OK;
}

int CAMERA_CFG::CCFGGetByName(std::string vendor,
                              std::string model,
                              CAM_CFG_SECTION& out) const noexcept {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) {
    return entry.vendor_ == vendor && entry.model_ == model;
  });
  if (found == entries_.end()) return CCFG_ERR_NOT_FOUND;
  out = *found;
  return CCFG_OK;
}

// By the whole names: an order that agrees with operator< wherever that decides, and is one for
// std::stable_sort.
int CAMERA_CFG::CCFGSort() noexcept {
  std::stable_sort(entries_.begin(), entries_.end(), [](const auto& a, const auto& b) {
    return std::tie(a.vendor_, a.model_) < std::tie(b.vendor_, b.model_);
  });
  return CCFG_OK;
}

int CAMERA_CFG::AssignKeyToEvent(CAM_CFG_SECTION& entry,
                                 const char* key,
                                 const char* value) noexcept {
  if (key == nullptr || value == nullptr) return -1;
  const std::array<std::string*, 8> paths{&entry.video_source_,
                                          &entry.pan_left_,
                                          &entry.pan_right_,
                                          &entry.tilt_up_,
                                          &entry.tilt_down_,
                                          &entry.zoom_in_,
                                          &entry.zoom_out_,
                                          &entry.home_position_};
  if (std::strcmp(key, gCFGKey[0]) == 0) {
    entry.port_ = static_cast<std::int32_t>(std::strtol(value, nullptr, 10));
    return CCFG_OK;
  }
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (std::strcmp(key, gCFGKey[i + 1]) != 0) continue;
    *paths[i] = value;
    return CCFG_OK;
  }
  return -1;
}

int CAMERA_CFG::SetVendorModelToEvent(char* name, CAM_CFG_SECTION& entry) noexcept {
  if (name == nullptr) return -1;
  char* rest = nullptr;
  const char* vendor = strtok_r(name, "*", &rest);
  const char* model = strtok_r(nullptr, "*", &rest);
  entry.vendor_ = vendor == nullptr ? "" : vendor;
  entry.model_ = model == nullptr ? "" : model;
  return 0;
}
