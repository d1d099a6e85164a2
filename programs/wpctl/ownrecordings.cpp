#include "ownrecordings.h"

#include <unistd.h>
#include <watchpost/event/camerafolder.h>
#include <watchpost/event/eventstore.h>
#include <watchpost/event/recordingfile.h>
#include <watchpost/media/avirepair.h>
#include <watchpost/platform/orvaea.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <system_error>

namespace wpctl {
namespace {

namespace fs = std::filesystem;

using Names = std::set<std::string>;

// What the rows of a camera name inside the folder; nothing when they cannot be read.
std::optional<Names> NamesOfRows(int camera_id, const std::string& folder) {
  const auto events = watchpost::ReadEvents(camera_id);
  if (!events) return std::nullopt;
  Names names;
  for (const Event& event : *events) {
    if (watchpost::RecordingPath(folder, event.GetPath()))
      names.insert(fs::path(event.GetPath()).lexically_normal());
  }
  return names;
}

// A regular file that really lies in the folder: a row may name it through a link.
bool IsFileIn(const std::string& folder, const std::string& name) {
  std::error_code failure;
  const fs::path path = watchpost::JoinRecordingPath(folder, name);
  if (fs::symlink_status(path, failure).type() != fs::file_type::regular) return false;
  const fs::path parent = fs::canonical(path.parent_path(), failure);
  if (failure) return false;
  const fs::path top = fs::canonical(folder, failure);
  return !failure && (parent.string() + "/").starts_with(top.string() + "/");
}

bool IsOurs(const std::string& path) {
  watchpost::AviContents contents;
  const watchpost::AviState state = watchpost::InspectAvi(path.c_str(), contents);
  return state == watchpost::kAviFinished || state == watchpost::kAviUnfinished;
}

// .avi files of our writer's, and those that have a note.
Names NamesOfFiles(const Camera& camera, const std::string& folder) {
  Names names;
  for (const std::string& name : watchpost::NotedRecordings(folder, camera.GetId()))
    names.insert(name);
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const std::string name = entry->path().filename();
    if (watchpost::IsRecordingName(name) && IsFileIn(folder, name) && IsOurs(entry->path()))
      names.insert(name);
  }
  return names;
}

}  // namespace

std::optional<Names> OwnRecordings(const Camera& camera, const std::string& folder, bool missing) {
  const std::list<Camera> cameras = CameraGetAll();
  const auto is_it = [&](const Camera& other) { return other.GetId() == camera.GetId(); };
  if (std::none_of(cameras.begin(), cameras.end(), is_it)) return std::nullopt;
  std::optional<Names> own = NamesOfRows(camera.GetId(), folder);
  if (!own) return std::nullopt;
  Names names = NamesOfFiles(camera, folder);
  for (const std::string& name : *own) {
    std::error_code failure;
    const bool gone =
        !fs::exists(fs::symlink_status(watchpost::JoinRecordingPath(folder, name), failure));
    if (gone ? missing : IsFileIn(folder, name)) names.insert(name);
  }
  for (const Camera& other : cameras) {
    if (is_it(other) || other.GetStoragePath() != folder) continue;
    const std::optional<Names> others = NamesOfRows(other.GetId(), folder);
    if (!others) return std::nullopt;
    for (const std::string& name : *others) names.erase(name);
  }
  return names;
}

bool IsSharedFolder(const Camera& camera, const std::string& folder) {
  const std::list<Camera> cameras = CameraGetAll();
  return std::any_of(cameras.begin(), cameras.end(), [&](const Camera& other) {
    return other.GetId() != camera.GetId() && other.GetStoragePath() == folder;
  });
}

std::vector<std::string> RemoveIfEmpty(const std::string& folder) {
  (void)rmdir((folder + "/" + watchpost::kStreamFolder).c_str());  // what is not empty stays
  if (rmdir(folder.c_str()) == 0) return {};
  std::vector<std::string> left;
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const std::string name = entry->path().filename();
    if (name != watchpost::kMarkFolder) left.push_back(name);
  }
  std::sort(left.begin(), left.end());
  return left;
}

std::string NameSome(const std::vector<std::string>& names) {
  constexpr std::size_t kMost = 5;
  std::string text;
  for (std::size_t i = 0; i < std::min(kMost, names.size()); ++i)
    text += (i == 0 ? "" : ", ") + names[i];
  if (names.size() > kMost) text += " and " + std::to_string(names.size() - kMost) + " more";
  return text;
}

}  // namespace wpctl
