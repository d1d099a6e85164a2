// A whole appliance in a folder: configuration, database server, simulated cameras and daemons.
#pragma once

#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/ipcnamespace.h"
#include "support/process.h"
#include "support/tempdir.h"

namespace watchpost::test {

/// A camera that is being simulated.
class Simulator {
 public:
  explicit Simulator(std::vector<std::string> options);
  [[nodiscard]] const std::string& Url() const { return url_; }
  /// Switches to another fault.
  void Fault(const std::string& name) const;

 private:
  Process process_;
  std::string base_;
  std::string url_;
};

class Appliance : public ::testing::Test {
 protected:
  explicit Appliance(const std::string& daemon_settings = "");
  ~Appliance() override;

  static std::string Program(const std::string& name) { return WATCHPOST_BIN_DIR "/" + name; }
  static Result Ctl(std::vector<std::string> arguments);
  static nlohmann::json CtlJson(std::vector<std::string> arguments);

  /// Adds a camera and returns its id as text.
  static std::string AddCamera(const std::string& name, const std::string& url);

  /// Starts a camera's daemon in the foreground: it logs to its standard error.
  static std::unique_ptr<Process> StartDaemon(const std::string& id);

  /// Stops a daemon and expects it to end well, in time.
  static void StopDaemon(Process& daemon, int signal_number);

  /// The camera's rows, oldest first.
  static nlohmann::json Rows(const std::string& id);
  static int Frames(const std::string& id);
  static bool EventuallyFrames(const std::string& id, int frames);

  void StartDatabase();
  void KillDatabase();
  /// One value from the database, through psql.
  static std::string Psql(const std::string& database, const std::string& sql);

  [[nodiscard]] std::string Folder(const std::string& camera_name) const {
    return root_ / "volume1/surveillance/" + camera_name;
  }

  IpcNamespace ipc_;
  TempDir root_;
  TempDir server_;
  ScopedEnv env_;
};

/// The frames of a recording, as its index tells them; padding is part of them.
std::vector<std::string> ReadFrames(const std::string& path);

/// What ffprobe counts in a recording; expects that it finds nothing to complain about.
int ProbeFrames(const std::string& path);

/// How often `part` stands in `text`.
int Count(const std::string& text, const std::string& part);

}  // namespace watchpost::test
