// Which files in a folder are a camera's recordings: no others are moved or removed with it.
#pragma once

#include <watchpost/camera/camera.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace wpctl {

/// Names, relative to `folder`, of the regular files in it that rows of the camera name, that have
/// a note of the camera's, or that are .avi files of our writer's: all without those that another
/// camera has a row for. Also names that rows give and that are not there, when `missing` says so.
/// Nothing when the database cannot be read.
std::optional<std::set<std::string>> OwnRecordings(const Camera& camera,
                                                   const std::string& folder,
                                                   bool missing);

/// Whether another camera has the same folder, as earlier versions allowed.
bool IsSharedFolder(const Camera& camera, const std::string& folder);

/// Removes the folder "@eaDir" and the folder itself when they are empty. What is left in it, less
/// the mark.
std::vector<std::string> RemoveIfEmpty(const std::string& folder);

/// "a, b, c and 4 more".
std::string NameSome(const std::vector<std::string>& names);

}  // namespace wpctl
