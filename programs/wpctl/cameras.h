// Finding cameras and their daemons.
#pragma once

#include <watchpost/camera/camera.h>

#include <list>
#include <optional>
#include <string>

namespace wpctl {

/// Whether the database answers; prints what to do when it does not.
bool RequireDatabase();

/// The camera of that id or, when no camera has it, of that name. Prints what is wrong when there
/// is none.
std::optional<Camera> FindCamera(const std::string& id_or_name);

/// Process id of the camera's daemon; nothing while none holds the camera's lock.
std::optional<int> RunningDaemon(int camera_id);

/// Whether the camera's daemon keeps live pictures; prints what to do when it does not.
bool RequireLivePictures(const Camera& camera);

/// Makes a running daemon take over the camera's changed record. Returns whether there is one.
bool TellDaemon(int camera_id);

}  // namespace wpctl
