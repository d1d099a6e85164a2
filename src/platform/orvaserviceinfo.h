// Where the appliance keeps a service's data.
#pragma once

#include "base/export.h"

/// What the appliance knows of one service.
struct ORVA_SERVICE_INFO {
  int volume;       ///< number of the volume that holds the service's share, above 0
  char path[4096];  ///< folder of the service's share, NUL-terminated, without a trailing slash
};

extern "C" {

/// Reads section "service N" of "/etc/orvainfo.conf" for service number N: keys "volume" and
/// "path". Returns 1 and fills `*info` when both are there and make sense; otherwise 0 (no such
/// section) or -1 (null, or values that make no sense), with `*info` unchanged.
WATCHPOST_API int ORVAServiceInfoGet(int service, ORVA_SERVICE_INFO* info) noexcept;

}  // extern "C"
