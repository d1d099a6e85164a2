// wpd: the recording daemon of one camera.

#include <fcntl.h>
#include <unistd.h>
#include <watchpost/database/health.h>
#include <watchpost/database/wpdb.h>
#include <watchpost/media/jpegmemsrc.h>
#include <watchpost/service/daemonsettings.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "camerarecord.h"
#include "daemon.h"
#include "instancelock.h"
#include "launcher.h"
#include "log.h"
#include "mailprocess.h"

namespace {

struct Options {
  int camera_id = 0;
  bool foreground = false;
};

int Fail(const std::string& why) {
  std::fprintf(stderr, "wpd: %s\n", why.c_str());
  return 1;
}

bool Load(int id, wpd::CameraRecord& record, std::string& error) {
  if (wpd::LoadRecord(id, record)) return true;
  error =
      watchpost::DatabaseAnswers()
          ? "there is no camera " + std::to_string(id) + " (wpctl camera list shows all)"
          : "the database \"" + std::string(gszDBName) + "\" on " + gszDBHost + " does not answer";
  return false;
}

// Descriptors 0 to 2 are always open: the lock must not become what is then written to.
void OpenStandardStreams() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
  if (fd > STDERR_FILENO) (void)close(fd);
}

int Run(const Options& options) {
  OpenStandardStreams();
  // Nothing that was open in whoever started the daemon stays open in it.
  if (!options.foreground) (void)close_range(3, ~0U, 0);
  wpd::OpenLog(options.foreground);
  std::string error;
  wpd::CameraRecord record;
  if (!Load(options.camera_id, record, error)) return Fail(error);
  wpd::InstanceLock lock(options.camera_id);
  if (!lock.Take(error)) return Fail(error);

  wpd::Readiness readiness;
  if (!options.foreground) {
    if (const std::optional<int> status = wpd::Detach(readiness)) return *status;
  }
  lock.WriteProcessId();
  watchpost::MuteJpegMessages();
  wpd::BlockSignals();
  std::vector<std::string> problems;
  const watchpost::DaemonSettings settings = watchpost::LoadDaemonSettings(problems);
  for (const std::string& problem : problems) wpd::Log("%s", problem.c_str());
  return wpd::RunDaemon(settings, record, readiness);
}

}  // namespace

int main(int argc, char** argv) {
  int status = 0;
  if (wpd::RunAsMailProcess(argc, argv, status)) return status;
  CLI::App app("Records one camera: fetches its stream, writes recordings and registers them.",
               "wpd");
  Options options;
  app.add_option("-c,--camera", options.camera_id, "Id of the camera")
      ->required()
      ->check(CLI::Range(1, INT32_MAX));
  app.add_flag("-f,--foreground",
               options.foreground,
               "Stay in the foreground and log to standard error too");
  app.set_version_flag("--version", "wpd " WATCHPOST_VERSION, "Print the version");
  app.footer(
      "Without -f, returns as soon as the daemon runs: 0, or 1 with the reason. SIGINT and SIGTERM "
      "stop the\n"
      "daemon, SIGHUP makes it take over the camera's changed settings.\n"
      "\nExamples:\n"
      "  wpd -c 3\n"
      "  wpd -c 3 -f");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    std::fprintf(stderr, "wpd: %s (wpd --help)\n", error.what());
    return 2;
  }
  return Run(options);
}
