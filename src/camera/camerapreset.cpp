#include "camera/camerapreset.h"

CameraPreset::CameraPreset(CAMERA_API api, const char* model_name, int port) noexcept
    : api_(api), port_(port), model_name_(model_name == nullptr ? "" : model_name) {}

std::string CameraPreset::Path(ImageSize /*size*/, int /*option*/) const noexcept {
  return "";
}
