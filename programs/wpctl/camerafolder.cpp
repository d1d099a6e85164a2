#include "camerafolder.h"

#include <watchpost/camera/servicefolder.h>
#include <watchpost/event/camerafolder.h>

#include <filesystem>
#include <optional>
#include <system_error>

namespace wpctl {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestFolder = 256;

// Removing a camera empties its folder: it must hold nothing but the camera's recordings.
bool IsOwnFolder(const Camera& camera, std::string& error) {
  const std::string folder = camera.GetStoragePath();
  const std::optional<watchpost::ServiceFolder> service = watchpost::FindServiceFolder();
  if (folder == "/" || (service && (service->path + "/").starts_with(folder + "/"))) {
    error = folder + " holds more than one camera's recordings; give a folder of its own";
    return false;
  }
  for (const Camera& other : CameraGetAll()) {
    if (other.GetId() == camera.GetId() || !Overlap(folder, other.GetStoragePath())) continue;
    error = folder + " overlaps " + other.GetStoragePath() + ", the folder of camera " +
            std::to_string(other.GetId());
    return false;
  }
  return true;
}

}  // namespace

bool ChooseFolder(Camera& camera, std::string& error) {
  const std::optional<watchpost::ServiceFolder> service = watchpost::FindServiceFolder();
  if (!service) {
    error = std::string("the service's folder is not known: ") + kConfigureFolder +
            "; or give --folder";
    return false;
  }
  camera.SetStoragePath(service->path + "/" + camera.GetName());
  if (camera.GetStoragePath().size() <= kLongestFolder) return true;
  error = "the folder " + camera.GetStoragePath() + " has more than 256 bytes; give --folder";
  return false;
}

bool IsFresh(const std::string& folder, std::string& error) {
  std::error_code failure;
  if (!fs::exists(fs::symlink_status(folder, failure))) return true;
  if (!fs::is_directory(folder, failure)) {
    error = folder + " is no folder";
    return false;
  }
  const bool empty = fs::is_empty(folder, failure);
  if (!failure && empty) return true;
  error = failure ? "cannot read " + folder + ": " + failure.message()
                  : folder + " is not empty: give a new folder with --folder";
  return false;
}

bool Overlap(const std::string& a, const std::string& b) {
  std::error_code failure;
  const std::string real_a = fs::weakly_canonical(a, failure).string() + "/";
  const std::string real_b = fs::weakly_canonical(b, failure).string() + "/";
  return (a + "/").starts_with(b + "/") || (b + "/").starts_with(a + "/") ||
         (real_a.size() > 1 && real_b.size() > 1 &&
          (real_a.starts_with(real_b) || real_b.starts_with(real_a)));
}

bool IsUnique(const Camera& camera, std::string& error) {
  for (const Camera& other : CameraGetAll()) {
    if (other.GetId() == camera.GetId() || other.GetName() != camera.GetName()) continue;
    error = "there is a camera \"" + camera.GetName() + "\" already, id " +
            std::to_string(other.GetId());
    return false;
  }
  return IsOwnFolder(camera, error);
}

std::string MissingFolder(const Camera& camera) {
  if (watchpost::ExamineCameraFolder(camera) != watchpost::FolderState::kMissing) return "";
  return watchpost::MissingFolderText(camera.GetStoragePath());
}

}  // namespace wpctl
