// wpctl storage clean

#include <watchpost/camera/servicefolder.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/platform/orvaea.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <list>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "camerafolder.h"
#include "cameras.h"
#include "commands.h"
#include "foldermove.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Options {
  bool yes = false;
};

// Entries of the service's folder that belong to no camera.
std::vector<std::string> StrayFolders(const std::string& folder, const std::list<Camera>& cameras) {
  std::vector<std::string> stray;
  std::error_code failure;
  for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const std::string path = folder + "/" + entry->path().filename().string();
    const bool owned = std::any_of(cameras.begin(), cameras.end(), [&](const Camera& camera) {
      return camera.GetStoragePath() == path || camera.GetStoragePath().starts_with(path + "/");
    });
    if (!owned && entry->path().filename() != watchpost::kStreamFolder) stray.push_back(path);
  }
  return stray;
}

// The camera whose folder lies deeper in the service's than cleaning reckons with; null without
// one.
const Camera* FindNested(const std::string& folder, const std::list<Camera>& cameras) {
  for (const Camera& camera : cameras) {
    const std::filesystem::path path(camera.GetStoragePath());
    const bool child = path.parent_path() == folder && path.has_filename();
    if (!child && camera.GetStoragePath().starts_with(folder + "/")) return &camera;
  }
  return nullptr;
}

int Clean(const Options& options) {
  if (!RequireDatabase()) return kFailed;
  const std::optional<watchpost::ServiceFolder> service = watchpost::FindServiceFolder();
  std::error_code failure;
  if (!service || !std::filesystem::is_directory(service->path, failure)) {
    return Failed(std::string("the service's folder cannot be read: ") + kConfigureFolder +
                  ", and see that its disk is mounted");
  }
  const std::list<Camera> cameras = CameraGetAll();
  if (const Camera* nested = FindNested(service->path, cameras)) {
    return Failed("the folder of camera " + std::to_string(nested->GetId()) + ", " +
                  nested->GetStoragePath() + ", would count as nobody's: nothing was cleared");
  }
  for (const Camera& camera : cameras) {
    // What it does not show may say that recordings are still in another folder.
    std::string why = MissingFolder(camera);
    if (!why.empty() || HasUnfinishedMove(camera, why)) return Failed(why);
  }
  const std::vector<std::string> stray = StrayFolders(service->path, cameras);
  if (stray.empty()) {
    std::printf("Nothing to clear: every entry of %s belongs to a camera.\n",
                service->path.c_str());
    return kDone;
  }
  for (const std::string& path : stray) std::printf("%s\n", Printable(path).c_str());
  if (!options.yes && !Confirm("Remove these " + std::to_string(stray.size()) + " for good?"))
    return Failed("nothing was removed; --yes removes without asking");
  if (ClearObsoleteDir() != 0) return Failed("not all could be removed; the system log says why");
  std::printf("Removed.\n");
  return kDone;
}

}  // namespace

void AddStorageClean(Group& storage) {
  auto [verb, options] = storage.Add("clean", "Remove folders that belong to no camera", Clean);
  AddYes(verb, options.yes);
  AddExamples(verb, {"wpctl storage clean"});
}

}  // namespace wpctl
