#include "platform/orvaserviceinfo.h"

#include <charconv>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "base/paths.h"
#include "platform/olibfile.h"
#include "platform/olibszhash.h"

int ORVAServiceInfoGet(int service, ORVA_SERVICE_INFO* info) noexcept {
  if (info == nullptr) return -1;
  watchpost::OlibHashPtr values(PshOLIBSzHashAlloc(8));
  OLIBSZHASH* hash = values.get();
  if (hash == nullptr) return -1;
  const std::string section = "service " + std::to_string(service);
  if (OLIBFileGetSection(watchpost::ConfigurationFile().c_str(), section.c_str(), &hash) < 0) {
    return 0;
  }
  const char* volume_text = SzOLIBSzHashGetValue(hash, "volume");
  const char* path_text = SzOLIBSzHashGetValue(hash, "path");
  if (volume_text == nullptr || path_text == nullptr || *path_text != '/') return -1;

  int volume = 0;
  const std::string_view digits(volume_text);
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), volume);
  if (error != std::errc() || end != digits.data() + digits.size() || volume <= 0) return -1;

  std::string path = watchpost::RootedPath(path_text);
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  if (path.size() >= sizeof info->path) return -1;
  info->volume = volume;
  std::memcpy(info->path, path.c_str(), path.size() + 1);
  return 1;
}
