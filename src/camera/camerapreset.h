// A known camera model, from which a camera record can be started.
#pragma once

#include <cstdint>
#include <string>

#include "base/export.h"

/// Access interface of a camera; stored and passed on, never interpreted. Any value may be cast to
/// it.
enum CAMERA_API : std::int32_t { CAMERA_API_GENERIC = 0 };

/// Choice of frame size. Any value may be cast to it.
enum ImageSize : std::int32_t { IMAGE_SIZE_DEFAULT = 0 };

class WATCHPOST_API CameraPreset {
 public:
  /// `model_name` is copied; null counts as empty. `port` is the model's default HTTP port.
  CameraPreset(CAMERA_API api, const char* model_name, int port) noexcept;

  [[nodiscard]] CAMERA_API Api() const noexcept { return api_; }
  [[nodiscard]] std::string ModelName() const noexcept { return model_name_; }
  [[nodiscard]] int Port() const noexcept { return port_; }

  /// Stream path for a frame size: always empty, presets carry none.
  [[nodiscard]] std::string Path(ImageSize size, int option) const noexcept;

 private:
  CAMERA_API api_;
  std::int32_t port_;
  std::string model_name_;
};
