// Finding cameras, and how they are shown.
#pragma once

#include <watchpost/camera/camera.h>

#include <list>
#include <optional>
#include <string>
#include <vector>

namespace wpctl {

/// Whether the database answers; prints what to do when it does not.
bool RequireDatabase();

/// The camera of that id or, when no camera has it, of that name. Prints what is wrong when there
/// is none.
std::optional<Camera> FindCamera(const std::string& id_or_name);

/// The cameras of these ids or names, all cameras without any. Nothing, with an explanation, when
/// one is unknown.
std::optional<std::vector<Camera>> FindCameras(const std::vector<std::string>& ids_or_names);

/// Whether the camera's daemon keeps live frames; prints what to do when it does not.
bool RequireLiveFrames(const Camera& camera);

/// "3 (Porch)".
std::string TitleOf(const Camera& camera);

/// "http://HOST:PORT/PATH", without the login.
std::string AddressOf(const Camera& camera);

/// Its limits of MiB and days; nothing where it has none.
std::optional<int> CapacityLimitOf(const Camera& camera);
std::optional<int> DaysLimitOf(const Camera& camera);

/// A CAM_CONN_STATUS: "waiting", "connected" or "lost"; "none" without a ring.
const char* ConnectionName(int status);

}  // namespace wpctl
