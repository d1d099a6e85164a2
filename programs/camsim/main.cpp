// camsim: a simulated MJPEG camera for trying things out and for tests.

#include <errno.h>
#include <signal.h>
#include <string.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "scene.h"
#include "server.h"

namespace {

struct Options {
  camsim::ServerOptions server;
  camsim::SceneOptions scene;
  std::string size = "640x480";
  std::string scene_name = "block";
  std::string folder;
  std::string fault = "none";
  std::string dialect = "length-after-type";
};

void Describe(CLI::App& app, Options& options) {
  app.add_option("-p,--port", options.server.port, "Port on 127.0.0.1 (default: any free one)")
      ->check(CLI::Range(0, 65535));
  app.add_option(
         "-s,--size", options.size, "Size of the drawn scene, as WIDTHxHEIGHT, 16 to 8192 each")
      ->capture_default_str();
  app.add_option("-r,--fps", options.server.stream.fps, "Frames a second")
      ->check(CLI::Range(0.1, 1000.0))
      ->capture_default_str();
  app.add_option("--scene",
                 options.scene_name,
                 "What is drawn; each frame says in a comment whether something moves")
      ->check(CLI::IsMember(camsim::kSceneNames))
      ->capture_default_str();
  app.add_option("-q,--quality", options.scene.quality, "JPEG quality of the drawn scene")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  app.add_option(
         "-f,--frames", options.folder, "Replay the JPEG files of this folder instead of drawing")
      ->check(CLI::ExistingDirectory);
  auto* user = app.add_option(
      "-u,--user", options.server.user, "Want Basic authentication with this user name");
  auto* password =
      app.add_option("-w,--password", options.server.password, "... and this password");
  user->needs(password);
  password->needs(user);
  app.add_option("-d,--dialect", options.dialect, "How the stream is written")
      ->check(CLI::IsMember(camsim::kDialectNames))
      ->capture_default_str();
  app.add_option("--fault", options.fault, std::string("Misbehave: ") + camsim::kFaultHelp)
      ->check([](const std::string& text) {
        return camsim::ParseFault(text) ? "" : std::string("a fault is ") + camsim::kFaultHelp;
      })
      ->capture_default_str();
  app.footer(
      "Fetching /fault/NAME switches to another fault while the camera runs; /ptz/left, right, up, "
      "down, in, out\n"
      "and home move its lens.\n"
      "\nExamples:\n"
      "  camsim --size 1280x720 --fps 15\n"
      "  camsim --scene person --fps 10\n"
      "  camsim --port 8081 --user viewer --password secret --dialect no-length\n"
      "  camsim --port 8081 --fault drop:50 & curl http://127.0.0.1:8081/fault/none");
}

bool ParseSize(const std::string& text, camsim::SceneOptions& scene) {
  int end = 0;
  if (std::sscanf(text.c_str(), "%dx%d%n", &scene.width, &scene.height, &end) != 2) return false;
  const auto fits = [](int value) { return value >= 16 && value <= 8192; };
  return end == static_cast<int>(text.size()) && fits(scene.width) && fits(scene.height);
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "camsim: %s\n", message.c_str());
  return 1;
}

int Run(const Options& options) {
  std::string error;
  std::unique_ptr<camsim::FrameSource> frames =
      options.folder.empty() ? camsim::MakeScene(options.scene, options.server.lens)
                             : camsim::MakeFolderSource(options.folder, error);
  if (frames == nullptr) return Fail(error);

  sigset_t stop;
  (void)sigemptyset(&stop);
  (void)sigaddset(&stop, SIGINT);
  (void)sigaddset(&stop, SIGTERM);
  (void)pthread_sigmask(SIG_BLOCK, &stop, nullptr);  // before there are threads: all inherit it

  camsim::Server server(options.server, std::move(frames), *camsim::ParseFault(options.fault));
  const int port = server.Listen();
  if (port < 0)
    return Fail("cannot listen on port " + std::to_string(options.server.port) + ": " +
                strerror(errno));
  server.Start();
  std::printf("camsim: listening on port %d\n", port);
  std::printf("  stream    http://127.0.0.1:%d/video.mjpg\n", port);
  std::printf("  snapshot  http://127.0.0.1:%d/snapshot.jpg\n", port);
  std::fflush(stdout);

  int signal_number = 0;
  (void)sigwait(&stop, &signal_number);
  server.Stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("A simulated camera: an MJPEG stream over HTTP, well-behaved or not.", "camsim");
  app.set_version_flag("--version", "camsim " WATCHPOST_VERSION, "Print the version");
  Options options;
  Describe(app, options);
  try {
    app.parse(argc, argv);
    if (!ParseSize(options.size, options.scene))
      throw CLI::ValidationError("--size", "give it as 640x480, 16 to 8192");
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    std::fprintf(stderr, "camsim: %s (camsim --help)\n", error.what());
    return 2;
  }
  options.scene.kind = camsim::kSceneNames.at(options.scene_name);
  options.scene.fps = options.server.stream.fps;
  options.server.lens = std::make_shared<camsim::Lens>();
  options.server.stream.dialect = camsim::kDialectNames.at(options.dialect);
  return Run(options);
}
