// The capability file of this system, "/usr/orva/etc/cameras.conf".
#pragma once

#include <watchpost/camera/cameracfg.h>

#include <optional>
#include <string>
#include <vector>

namespace wpctl {

std::string CapabilityFile();

/// All entries, sorted. Nothing, with an explanation on standard error, when the file cannot be
/// read.
std::optional<std::vector<CAM_CFG_SECTION>> ReadCapabilities();

/// The entry of a vendor and model; names what there is when there is none.
std::optional<CAM_CFG_SECTION> FindCapability(const std::string& vendor, const std::string& model);

}  // namespace wpctl
