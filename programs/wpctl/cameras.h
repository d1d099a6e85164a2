// Finding cameras and their daemons.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/service/daemonstate.h>

#include <list>
#include <optional>
#include <string>

namespace wpctl {

/// Whether the database answers; prints what to do when it does not.
bool RequireDatabase();

/// The camera of that id or, when no camera has it, of that name. Prints what is wrong when there
/// is none.
std::optional<Camera> FindCamera(const std::string& id_or_name);

using watchpost::NotifyDaemon;
using watchpost::RunningDaemon;

/// Whether the camera's daemon keeps live pictures; prints what to do when it does not.
bool RequireLivePictures(const Camera& camera);

}  // namespace wpctl
