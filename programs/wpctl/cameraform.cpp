#include "cameraform.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>

#include "cameraurl.h"

namespace wpctl {
namespace {

constexpr int kMostDays = 24855;  // in seconds, more than 32 bits hold

bool HasControls(const std::string& text) {
  return std::any_of(
      text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; });
}

// Recordings lie in a folder of the camera's name.
bool CheckName(const std::string& name, std::string& error) {
  const bool number = name.find_first_not_of("0123456789") == std::string::npos;  // an id, or empty
  if (!number && name.size() <= 200 && name[0] != '.' && name[0] != '@' && !HasControls(name) &&
      name.find('/') == std::string::npos) {
    return true;
  }
  error =
      "a name has 1 to 200 bytes, is no mere number, does not begin with \".\" or \"@\" and holds "
      "no \"/\" or control characters";
  return false;
}

bool CheckLogin(const std::string& text, const char* what, std::string& error) {
  if (text.size() <= 128 && !HasControls(text)) return true;
  error = std::string(what) + " has at most 128 bytes and no control characters";
  return false;
}

bool FillUrl(const std::string& text, Camera& camera, std::string& error) {
  const std::optional<CameraUrl> url = ParseCameraUrl(text, error);
  if (!url) return false;
  // The login of one host is not for another.
  if (!url->user.empty() || url->host != camera.GetHost()) {
    camera.SetUsername(url->user);
    camera.SetPassword(url->password);
  }
  camera.SetHost(url->host);
  camera.SetPort(url->port);
  camera.SetPath(url->path);
  return true;
}

bool FillPath(std::string path, Camera& camera, std::string& error) {
  if (IsUrl(path)) return FillUrl(path, camera, error);
  if (!NormalizePath(path, error)) return false;
  camera.SetPath(path);
  return true;
}

bool FillAddress(const CameraForm& form, Camera& camera, std::string& error) {
  if (form.url && !FillUrl(*form.url, camera, error)) return false;
  if (form.host) {
    if (!IsHost(*form.host)) {
      error = "a host is a name or an IPv4 address";
      return false;
    }
    camera.SetHost(*form.host);
  }
  if (form.port) camera.SetPort(*form.port);
  if (form.path && !FillPath(*form.path, camera, error)) return false;
  if (form.user) camera.SetUsername(*form.user);
  if (form.password) camera.SetPassword(*form.password);
  if (camera.GetUsername().empty() != camera.GetPassword().empty()) {
    error = "a user name and a password go together; neither may be empty";
    return false;
  }
  return CheckLogin(camera.GetUsername(), "a user name", error) &&
         CheckLogin(camera.GetPassword(), "a password", error);
}

bool ParseSize(const std::string& text, Camera& camera, std::string& error) {
  int width = 0;
  int height = 0;
  int end = 0;
  if (std::sscanf(text.c_str(), "%5dx%5d%n", &width, &height, &end) != 2 ||
      end != static_cast<int>(text.size()) || width < 1 || height < 1 || width > 65535 ||
      height > 65535) {
    error = "a size is WIDTHxHEIGHT in pixels, such as 640x480";
    return false;
  }
  camera.SetImageWidth(width);
  camera.SetImageHeight(height);
  return true;
}

// A limit above 0, or 0 for "off".
bool ParseLimit(const std::string& text, const char* what, int& limit, std::string& error) {
  limit = 0;
  if (text == "off") return true;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), limit);
  if (failure == std::errc() && end == text.data() + text.size() && limit > 0) return true;
  error = std::string(what) + " is a number above 0, or off";
  return false;
}

bool FillLimits(const CameraForm& form, Camera& camera, std::string& error) {
  int limit = 0;
  if (form.capacity) {
    if (!ParseLimit(*form.capacity, "a capacity (MiB)", limit, error)) return false;
    camera.EnableRotateBySize(limit > 0);
    if (limit > 0) camera.SetCapacityLimit(limit);
  }
  if (form.days) {
    if (!ParseLimit(*form.days, "a number of days", limit, error)) return false;
    if (limit > kMostDays) {
      error = "a number of days is " + std::to_string(kMostDays) + " at most";
      return false;
    }
    camera.EnableRotateByDate(limit > 0);
    if (limit > 0) camera.SetExpireDays(limit);
  }
  return true;
}

bool FillFolder(const CameraForm& form, Camera& camera, std::string& error) {
  if (form.folder) {
    std::string folder = std::filesystem::path(*form.folder).lexically_normal();
    while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
    if (!folder.starts_with('/') || folder.size() > 256 || HasControls(folder)) {
      error = "a folder is an absolute path of at most 256 bytes";
      return false;
    }
    camera.SetStoragePath(folder);
  }
  if (form.prefix) {
    if (form.prefix->size() > 200 || form.prefix->find('/') != std::string::npos ||
        HasControls(*form.prefix)) {
      error = "a prefix has at most 200 bytes and holds no \"/\" or control characters";
      return false;
    }
    camera.SetFilenamePrefix(*form.prefix);
  }
  return true;
}

}  // namespace

void DescribeForm(const Command& command, CameraForm& form) {
  command.Add("--host", form.host, "Host name or IPv4 address");
  command.Add("--port", form.port, "TCP port").Between(1, 65535);
  command.Add("--path",
              form.path,
              "Path of the MJPEG stream, with or without its leading slash, or a whole URL");
  command.Add("--user", form.user, "User name for Basic authentication");
  command.Add("--password", form.password, "Password for Basic authentication");
  command.Add("--vendor", form.vendor, "Maker's name");
  command.Add("--model", form.model, "Model's name");
  command.Add("--fps", form.fps, "Frames per second that the camera is expected to send")
      .Between(1, 1000);
  command.Add("--size", form.size, "Size of its pictures, as WIDTHxHEIGHT");
  command.Add("--folder",
              form.folder,
              "Folder of its recordings (default: the service's folder and the name)");
  command.Add("--prefix", form.prefix, "What the file names of its recordings begin with");
  command.Add("--sensitivity", form.sensitivity, "Sensitivity of motion detection").Between(0, 100);
  command.Add("--capacity", form.capacity, "Limit of its recordings in MiB, or off");
  command.Add("--days", form.days, "Days for which recordings are kept, or off");
  command.Add("--motion-log", form.motion_log, "Keep the motion level of every frame")
      .OneOf({"on", "off"});
}

bool IsEmpty(const CameraForm& form) {
  const auto none = [](const auto&... options) { return !(options.has_value() || ...); };
  return none(form.name, form.url, form.host, form.port, form.path, form.user, form.password) &&
         none(form.vendor, form.model, form.fps, form.size, form.folder, form.prefix) &&
         none(form.sensitivity, form.capacity, form.days, form.motion_log);
}

bool FillIn(const CameraForm& form, Camera& camera, std::string& error) {
  if (form.name) {
    if (!CheckName(*form.name, error)) return false;
    camera.SetName(*form.name);
  }
  if (form.vendor) camera.SetVendor(*form.vendor);
  if (form.model) camera.SetModel(*form.model);
  if (form.fps) camera.SetFPS(*form.fps);
  if (form.size && !ParseSize(*form.size, camera, error)) return false;
  if (form.sensitivity) (void)camera.SetSensitivity(*form.sensitivity);  // its range was checked
  if (form.motion_log) camera.EnableMotionLog(*form.motion_log == "on");
  return FillAddress(form, camera, error) && FillLimits(form, camera, error) &&
         FillFolder(form, camera, error);
}

}  // namespace wpctl
