#include "camera/camera.h"

#include <utility>

#include "camera/textlimits_internal.h"

using watchpost::CutText;

Camera::Camera(int id) noexcept {
  (void)Load(id);
}  // the id tells whether it was found

Camera::Camera(std::string name, std::string host, CameraPreset preset) noexcept
    : name_(std::move(name)),
      host_(std::move(host)),
      port_(preset.Port()),
      path_(preset.Path(IMAGE_SIZE_DEFAULT, 0)) {}

Camera::Camera(std::string name,
               std::string host,
               int port,
               std::string path,
               std::string username,
               std::string password) noexcept
    : name_(std::move(name)),
      host_(std::move(host)),
      port_(port),
      path_(std::move(path)),
      username_(std::move(username)),
      password_(std::move(password)) {}

int Camera::SetSensitivity(int sensitivity) noexcept {
  if (sensitivity < 0 || sensitivity > 100) return -1;
  sensitivity_ = sensitivity;
  return 0;
}

void Camera::Validate() noexcept {
  CutText(name_, watchpost::kLongestName);
  CutText(vendor_, watchpost::kLongestMaker);
  CutText(model_, watchpost::kLongestMaker);
  CutText(host_, watchpost::kLongestHost);
  CutText(path_, watchpost::kLongestUrlPath);
  CutText(username_, watchpost::kLongestCredential);
  CutText(password_, watchpost::kLongestCredential);
  CutText(storage_path_, watchpost::kLongestFolder);
  CutText(filename_prefix_, watchpost::kLongestName);
}

void Camera::Dump() const noexcept {
  DumpField("Id", id_);
  DumpField("Name", name_.c_str());
  DumpField("Type", type_);
  DumpField("Host", host_.c_str());
  DumpField("Port", port_);
  DumpField("Path", path_.c_str());
  DumpField("User", username_.c_str());
  DumpField("Pass", password_.c_str());
  DumpField("FPS", fps_);
  DumpField("Width", image_width_);
  DumpField("Height", image_height_);
  DumpField("Store", storage_path_.c_str());
  DumpField("Prefix", filename_prefix_.c_str());
  DumpField("Capacity", capacity_limit_);
  DumpField("Days", expire_days_);
  DumpField("EnCap", static_cast<int>(rotate_by_size_));
  DumpField("EnDay", static_cast<int>(rotate_by_date_));
  DumpField("Sense", sensitivity_);
  DumpField("EnMotionLog", static_cast<int>(motion_log_));
  DumpSchedule();
}

void Camera::DumpField(const char* /*key*/, const char* /*value*/) noexcept {}

void Camera::DumpField(const char* /*key*/, int /*value*/) noexcept {}
