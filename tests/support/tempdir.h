// A folder that is there as long as the test.
#pragma once

#include <optional>
#include <string>

#include "base/uniquefd.h"

namespace watchpost::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  [[nodiscard]] const std::string& Path() const { return path_; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);

/// Locks a file as whoever writes it does.
UniqueFd LockFile(const std::string& path);

/// Sets an environment variable for as long as the object lives; a time zone counts at once.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<std::string> before_;
};

/// A root folder of the appliance's own, with a service on volume 1.
class TestRoot {
 public:
  void Configure(const std::string& text) { WriteFile(root_ / "etc/orvainfo.conf", text); }
  TestRoot() { Configure("[service 9]\nvolume=1\npath=/volume1/surveillance\n"); }

  [[nodiscard]] std::string operator/(const std::string& name) const { return root_ / name; }
  /// A path in the service's folder.
  [[nodiscard]] std::string Service(const std::string& name = "") const {
    return root_ / "volume1/surveillance/" + name;
  }
  [[nodiscard]] std::string EventLog() const { return ReadFile(root_ / "var/log/orva/event.log"); }

 private:
  TempDir root_;
  ScopedEnv env_{"ORVA_ROOT", root_.Path()};
};

}  // namespace watchpost::test
