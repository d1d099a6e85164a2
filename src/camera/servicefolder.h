// The recording service's folder, and how folders leave it. Thread-safe; nothing is logged.
#pragma once

#include <optional>
#include <string>

#include "base/export.h"

namespace watchpost {

struct ServiceFolder {
  std::string path;   ///< of the service's share, without a trailing slash
  std::string trash;  ///< "/volumeN/@tmp" of its volume: what is to be removed is moved there
};

/// As the appliance's configuration names them; nothing when it does not.
WATCHPOST_API std::optional<ServiceFolder> FindServiceFolder() noexcept;

/// Whether `path` is a directory, which is made (mode 0777 less the umask) when it is missing.
WATCHPOST_API bool MakeDirectory(const std::string& path) noexcept;

/// Removes a folder with all that is in it, from a process that nobody waits for. False when that
/// process could not be made.
WATCHPOST_API bool RemoveInBackground(const std::string& path) noexcept;

}  // namespace watchpost
