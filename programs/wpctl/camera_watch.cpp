// wpctl camera watch

#include <watchpost/ipc/ringbuffer.h>
#include <watchpost/service/daemonstate.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>

#include "cameras.h"
#include "commands.h"
#include "framefile.h"
#include "progress.h"
#include "report.h"
#include "signals.h"
#include "verb.h"
#include "watcher.h"

namespace wpctl {
namespace {

struct Options {
  std::string camera;
  std::string folder;
  int seconds = 0;
  long frames = 0;
  bool json = false;
};

const char* ConnectionText(CAM_CONN_STATUS status) {
  constexpr const char* kTexts[] = {
      "no recorder", "waiting for the camera", "connected", "camera lost"};
  return status >= CAM_CONN_NONE && status <= CAM_CONN_LOST ? kTexts[status] : "unknown";
}

std::string ReportText(const WatchReport& report) {
  char text[160];
  (void)std::snprintf(text,
                      sizeof text,
                      "%s  %.1f fps  %ux%u  %.1f KB  delay %.1f ms  %ld frames  %ld lost",
                      ConnectionText(report.status),
                      report.rate,
                      unsigned{report.picture.width},
                      unsigned{report.picture.height},
                      report.bytes / 1e3,
                      report.delay,
                      report.frames,
                      report.missed);
  return text;
}

nlohmann::ordered_json ToJson(const WatchReport& report) {
  return {{"connection", ConnectionName(report.status)},
          {"fps", report.rate},
          {"width", report.picture.width},
          {"height", report.picture.height},
          {"bytes_per_frame", report.bytes},
          {"delay_ms", report.delay},
          {"frames", report.frames},
          {"lost", report.missed},
          {"rings", report.rings}};
}

// Shows what the watcher sees until a signal, or until it or the time is over.
WatchReport ShowUntilOver(Watcher& watcher, int camera_id, const Options& options) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  Clock::time_point next_line = begin + std::chrono::seconds(1);
  Progress progress(options.seconds > 0 || options.frames > 0);
  for (;;) {
    const bool interrupted = WaitForEndingSignal();
    WatchReport report = watcher.Report();
    if (!watchpost::RunningDaemon(camera_id)) report.status = CAM_CONN_NONE;
    const Clock::time_point now = Clock::now();
    const double passed = std::chrono::duration<double>(now - begin).count();
    const double share = options.frames > 0 ? static_cast<double>(report.frames) /
                                                  static_cast<double>(options.frames)
                                            : passed / std::max(options.seconds, 1);
    progress.Show(share, ReportText(report));
    if (interrupted || watcher.HasEnded()) return report;
    if (options.seconds > 0 && passed >= options.seconds) return report;
    if (!progress.IsShown() && !options.json && now >= next_line) {
      std::printf("%s\n", ReportText(report).c_str());
      if (std::fflush(stdout) != 0) return report;  // nobody reads any more
      next_line = now + std::chrono::seconds(1);
    }
  }
}

int Watch(const Options& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera || !RequireLiveFrames(*camera)) return kFailed;
  std::error_code failure;
  if (!options.folder.empty()) std::filesystem::create_directories(options.folder, failure);
  if (failure) return Failed("cannot make " + options.folder + ": " + failure.message());

  BlockEndingSignals();
  long left = options.frames;
  std::string error;
  WatchReport report;
  {
    Watcher watcher(camera->GetId(), [&](const watchpost::LiveFrame& frame) {
      const std::string path = options.folder + "/" + FrameFileName(*camera, frame.finished);
      const auto size = static_cast<std::size_t>(frame.size);
      if (!options.folder.empty() && !WriteFrame(path, frame.data, size, error)) return false;
      return options.frames == 0 || --left > 0;
    });
    report = ShowUntilOver(watcher, camera->GetId(), options);
  }
  if (!error.empty()) return Failed(error);
  if (options.json)
    PrintJson(ToJson(report));
  else
    std::printf("%s\n", ReportText(report).c_str());
  return kDone;
}

}  // namespace

void AddCameraWatch(Group& camera) {
  auto [verb, options] = camera.Add("watch", "Follow a camera's live frames until Ctrl-C", Watch);
  AddCameraArgument(verb, options.camera);
  verb.Add("--save", options.folder, "Write every frame into this folder");
  verb.Add("--seconds", options.seconds, "End after so many seconds").Between(1, 1000000);
  verb.Add("--frames", options.frames, "End after so many frames").Between(1, 1000000000);
  AddJson(verb, options.json, "Print the last state as JSON at the end");
  AddExamples(
      verb,
      "Shows rate, size, delay from the recorder to here, and how many frames are missing\n"
      "by the camera's rhythm. Watching never disturbs the recording.",
      {"wpctl camera watch Porch", "wpctl camera watch Porch --save /tmp/porch --frames 100"});
}

}  // namespace wpctl
