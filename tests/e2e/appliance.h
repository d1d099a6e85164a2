// A whole appliance in a folder: configuration, database server, simulated cameras and daemons.
#pragma once

#include <signal.h>

#include <nlohmann/json.hpp>

#include "support/ipcnamespace.h"
#include "support/process.h"

namespace watchpost::test {

/// How often `part` stands in `text`.
int Count(const std::string& text, const std::string& part);

/// A camera that is being simulated.
class Simulator {
 public:
  explicit Simulator(const std::string& options);
  [[nodiscard]] const std::string& Url() const { return url_; }
  /// Switches to another fault.
  void Fault(const std::string& name) const;

 private:
  Process process_;
  std::string base_;
  std::string url_;
};

/// A recording as its row has it.
struct Row {
  int id, width, frames;
  long start, stop;
  std::size_t bytes;
  std::string cause, path;
  std::string file;  ///< the whole path
};

/// Expects that a row's file is what the row says, and that ffprobe finds nothing wrong with it.
void ExpectWhole(const Row& row);

/// The frames of a recording, as its index has them; padding is part of them.
std::vector<std::string> ReadFrames(const std::string& path);

/// What ffprobe counts in a recording; expects that it finds nothing to complain about.
int ProbeFrames(const std::string& path);

/// A camera that the appliance knows, and its daemon while that runs.
class RecordedCamera {
 public:
  /// Adds a simulated camera.
  explicit RecordedCamera(const std::string& options, const std::string& name = "Porch");
  /// Adds the camera at `url`.
  static RecordedCamera At(const std::string& url, const std::string& name);

  [[nodiscard]] const std::string& Id() const { return id_; }
  [[nodiscard]] const std::string& Folder() const { return folder_; }
  void Fault(const std::string& name) const { camera_->Fault(name); }

  /// Starts the daemon in the foreground: it logs to its standard error.
  void Start();
  /// Stops the daemon and expects it to end well, in time.
  void Stop(int signal_number = SIGTERM);
  void Kill() { EXPECT_EQ(daemon_->End(SIGKILL), 128 + SIGKILL); }
  [[nodiscard]] pid_t Pid() const { return daemon_->Pid(); }

  [[nodiscard]] std::string Log() const { return daemon_->Errors(); }
  [[nodiscard]] int Logged(const std::string& text) const { return Count(Log(), text); }
  /// Waits until the daemon has logged `text`, and expects that it has done so once.
  void ExpectLog(const std::string& text) const;

  /// The rows, oldest first.
  [[nodiscard]] std::vector<Row> Rows() const;
  [[nodiscard]] int Frames() const;
  /// Waits until the rows have so many frames.
  void ExpectFrames(int frames) const;
  /// Every recording on disk has a row that says what is in it, and the other way round.
  void ExpectRowsAndFilesAgree() const;

 private:
  RecordedCamera(std::unique_ptr<Simulator> camera, const std::string& url, std::string name);

  std::unique_ptr<Simulator> camera_;
  std::string id_;
  std::string folder_;
  std::unique_ptr<Process> daemon_;
};

class Appliance : public ::testing::Test {
 protected:
  explicit Appliance(const std::string& daemon_settings = "");
  ~Appliance() override;

  void StartDatabase();
  void KillDatabase();

  [[nodiscard]] std::string Folder(const std::string& camera_name) const {
    return root_ / "volume1/surveillance/" + camera_name;
  }

  IpcNamespace ipc_;
  TempDir root_;
  TempDir server_;
  ScopedEnv env_;
};

/// The path of a program that was built.
std::string Program(const std::string& name);

/// Runs wpctl.
Result Ctl(const std::string& arguments);
/// The same, which must succeed: its output.
std::string Do(const std::string& arguments);
nlohmann::json DoJson(const std::string& arguments);
/// The same, which must end with 1: its messages.
std::string Refused(const std::string& arguments);

/// The values that a statement gives, through psql.
std::string Psql(const std::string& sql, const std::string& database = "surveillance");

}  // namespace watchpost::test
