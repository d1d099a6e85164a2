// What is known of makes of cameras: the file "/usr/orva/etc/cameras.conf" of this system.
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

/// The entry of a vendor and model; prints how to list all when there is none.
std::optional<CAM_CFG_SECTION> FindCapability(const std::string& vendor, const std::string& model);

}  // namespace wpctl
