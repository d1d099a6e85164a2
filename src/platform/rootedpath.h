// The one place that knows where an appliance path really lies. Reentrant.
#pragma once

#include <string>
#include <string_view>

#include "platform/export.h"

namespace watchpost {

/// The absolute appliance path `path` ("/etc/orvainfo.conf", "/volume1/@tmp", ...), with the value
/// of the environment variable ORVA_ROOT in front of it when that is set, not empty, and the
/// process does not run with raised privileges. Trailing slashes of ORVA_ROOT are dropped.
WATCHPOST_API std::string RootedPath(std::string_view path);

}  // namespace watchpost
