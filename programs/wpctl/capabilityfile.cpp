#include "capabilityfile.h"

#include <watchpost/base/paths.h>

#include "report.h"

namespace wpctl {

std::string CapabilityFile() {
  return watchpost::RootedPath("/usr/orva/etc/cameras.conf");
}

std::optional<std::vector<CAM_CFG_SECTION>> ReadCapabilities() {
  CAMERA_CFG file;
  if (const int result = file.CCFGLoad(CapabilityFile().c_str()); result != CCFG_OK) {
    (void)Failed(CapabilityFile() + (result == CCFG_ERR_SECTION
                                         ? " lists a camera whose section is missing"
                                         : " is missing, or has no section [camera*list]"));
    return std::nullopt;
  }
  std::vector<CAM_CFG_SECTION> entries(static_cast<std::size_t>(file.CCFGGetCount()));
  for (std::size_t i = 0; i < entries.size(); ++i)
    (void)file.CCFGGetByIndex(static_cast<int>(i), entries[i]);  // the index is in range
  return entries;
}

std::optional<CAM_CFG_SECTION> FindCapability(const std::string& vendor, const std::string& model) {
  const auto entries = ReadCapabilities();
  if (!entries) return std::nullopt;
  for (const CAM_CFG_SECTION& entry : *entries) {
    std::string its_vendor;
    std::string its_model;
    (void)entry.CCSGetCamVendor(its_vendor);  // "N/A" compares as it is
    (void)entry.CCSGetCamModelNo(its_model);
    if (its_vendor == vendor && its_model == model) return entry;
  }
  (void)Failed("nothing is known of a camera \"" + vendor + "\" \"" + model +
               "\"; \"wpctl capability list\" shows all that are");
  return std::nullopt;
}

}  // namespace wpctl
