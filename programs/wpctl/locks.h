// Keeping others out between a check and what follows from it.
#pragma once

#include <watchpost/base/uniquefd.h>

#include <string>

namespace wpctl {

/// Held while it is checked that a camera's name and folder are nobody else's, and stored. Waits
/// for up to half a minute. Invalid, with `error` filled, when it cannot be taken.
watchpost::UniqueFd LockCameras(std::string& error);

/// Takes the place of the camera's daemon, which then cannot start. Invalid, with `error` filled,
/// while it runs.
watchpost::UniqueFd HoldDaemon(int camera_id, std::string& error);

/// Who holds the camera's lock without being its daemon: "process 17 (name)", or what is known of
/// it; empty while nobody does.
std::string StrangerWithLock(int camera_id);

}  // namespace wpctl
