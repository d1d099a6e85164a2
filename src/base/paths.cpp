#include "base/paths.h"

#include <stdlib.h>

namespace watchpost {
namespace {

std::string DaemonFile(const char* folder, int camera_id, const char* extension) {
  return RootedPath(std::string(folder) + "/wpd-" + std::to_string(camera_id) + extension);
}

}  // namespace

std::string RootedPath(std::string_view path) {
  const char* value = secure_getenv("ORVA_ROOT");
  std::string root = value == nullptr ? "" : value;
  while (root.ends_with('/')) root.pop_back();
  return root.append(path);
}

std::string ConfigurationFile() {
  return RootedPath("/etc/orvainfo.conf");
}

std::string DaemonProgram() {
  return RootedPath("/usr/orva/sbin/wpd");
}

std::string DaemonLockFile(int camera_id) {
  return DaemonFile("/var/run/orva", camera_id, ".lock");
}

std::string DaemonStatusFile(int camera_id) {
  return DaemonFile("/var/run/orva", camera_id, ".json");
}

std::string DaemonJournalFile(int camera_id) {
  return DaemonFile("/var/lib/orva", camera_id, ".rows");
}

std::string DaemonFolderFile(int camera_id) {
  return DaemonFile("/var/lib/orva", camera_id, ".folder");
}

}  // namespace watchpost
