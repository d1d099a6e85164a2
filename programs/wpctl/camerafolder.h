// Where a camera's recordings may lie.
#pragma once

#include <watchpost/camera/camera.h>

#include <string>

namespace wpctl {

/// What to do when the service's folder is not known.
inline constexpr char kConfigureFolder[] =
    "set volume and path in section [service 9] of /etc/orvainfo.conf";

/// Gives a new camera the folder of its name in the service's. False, with `error`, when that is
/// not known, or the path too long.
bool ChooseFolder(Camera& camera, std::string& error);

/// Whether a folder that a camera is to get holds nothing yet; `error` says what is wrong.
bool IsFresh(const std::string& folder, std::string& error);

/// Whether two folders are the same or one lies in the other, links resolved.
bool Overlap(const std::string& a, const std::string& b);

/// Whether no other camera has the camera's name, or a folder that overlaps with its own; `error`
/// says what is wrong.
bool IsUnique(const Camera& camera, std::string& error);

/// "FOLDER is not there: is its disk mounted?" when the camera's folder is missing, else empty.
std::string MissingFolder(const Camera& camera);

}  // namespace wpctl
