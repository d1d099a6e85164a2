// wpctl camera snapshot and watch: live pictures.

#include <string.h>
#include <sys/timerfd.h>
#include <watchpost/camera/camera.h>
#include <watchpost/ipc/ringbuffer.h>
#include <watchpost/media/jpegsize.h>
#include <watchpost/net/interrupt.h>
#include <watchpost/net/multipartfetch.h>
#include <watchpost/base/uniquefd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "progress.h"
#include "report.h"
#include "signals.h"
#include "watcher.h"

namespace wpctl {
namespace {

using Picture = std::vector<unsigned char>;

constexpr int kFetchSeconds = 15;

// NAME-YYYYMMDD-HHMMSS.mmm.jpg, whatever characters the name holds.
std::string PictureName(const Camera& camera, const timeval& when) {
  std::string name = camera.GetName();
  for (char& c : name) {
    if (c == '/' || static_cast<unsigned char>(c) < ' ') c = '_';
  }
  tm local{};
  char text[64];
  (void)localtime_r(&when.tv_sec, &local);
  const std::size_t length = strftime(text, sizeof text, "-%Y%m%d-%H%M%S", &local);
  (void)std::snprintf(
      text + length, sizeof text - length, ".%03d.jpg", static_cast<int>(when.tv_usec / 1000));
  return name + text;
}

bool WriteFile(const std::string& path, const unsigned char* data, std::size_t size) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  file.close();
  return file.good();
}

// The latest frame of the ring; empty when no daemon keeps one, or it is not of now.
Picture FromRing(int camera_id) {
  constexpr long kOldest = 10;  // seconds
  Picture picture;
  if (!RunningDaemon(camera_id)) return picture;
  RingBuffer* ring = RingBufferGet(camera_id);
  if (ring == nullptr) return picture;
  CAM_CONN_STATUS status = CAM_CONN_NONE;
  (void)ring->ConnStatusGet(&status);  // not null
  DataUnit* unit = status == CAM_CONN_CONNECTED ? ring->ReadLatest() : nullptr;
  if (unit != nullptr) {
    if (std::labs(time(nullptr) - unit->GetTimestamp().tv_sec) <= kOldest)
      picture.assign(unit->Payload(), unit->Payload() + unit->Size());
    (void)ring->ReadFinish(unit);  // not null
  }
  (void)RingBufferRelease(ring);  // attached above
  return picture;
}

// The first picture of the camera's stream, or an MF_STATUS that tells why there is none.
int FromCamera(const Camera& camera, Picture& picture) {
  const watchpost::UniqueFd limit(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
  itimerspec timer{};
  timer.it_value.tv_sec = kFetchSeconds;
  if (!limit.IsValid() || timerfd_settime(limit.Get(), 0, &timer, nullptr) != 0)
    return MF_ERR_NOT_INIT;
  const watchpost::ScopedInterrupt interrupt(limit.Get());
  MultipartFetch fetch(camera.GetHost().c_str(),
                       camera.GetPort(),
                       camera.GetPath().c_str(),
                       camera.GetUsername().c_str(),
                       camera.GetPassword().c_str());
  constexpr unsigned int kLargest = 64U << 20;
  unsigned int size = 0;
  char type[64];
  const int status = fetch.NextPartInfo(size, type, sizeof type);
  if (status != MF_OK) return status;
  if (size == 0 || size > kLargest) return MF_ERR_PART_LENGTH;
  picture.resize(size);
  return fetch.FetchContent(picture.data(), size);
}

const char* ReasonOf(int status) {
  switch (status) {
    case MF_ERR_CONNECT:
      return "it cannot be reached, or sends nothing";
    case MF_ERR_UNAUTHORIZED:
      return "it refuses user name and password";
    case MF_ERR_BAD_RESPONSE:
      return "it refuses the stream; is its path right?";
    case MF_ERR_NOT_MULTIPART:
      return "it sends no stream of multipart/x-mixed-replace; is its path right?";
    default:
      return "its stream is not understood";
  }
}

int Snapshot(const std::string& which, std::string path) {
  const std::optional<Camera> camera = FindCamera(which);
  if (!camera) return kFailed;
  Picture picture = FromRing(camera->GetId());
  const bool from_ring = !picture.empty();
  if (!from_ring) {
    const int status = FromCamera(*camera, picture);
    if (status != MF_OK)
      return Failed("no picture from camera \"" + camera->GetName() + "\": " + ReasonOf(status));
  }
  const auto size = watchpost::ReadJpegSize(picture.data(), picture.size());
  if (!size)
    return Failed("camera \"" + camera->GetName() + "\" sends something that is no picture");
  if (path == "-") {
    const bool written = std::fwrite(picture.data(), 1, picture.size(), stdout) == picture.size();
    return written && std::fflush(stdout) == 0 ? kDone : Failed("cannot write the picture");
  }
  timeval now{};
  (void)gettimeofday(&now, nullptr);  // cannot fail with these arguments
  std::error_code failure;
  if (path.empty()) path = PictureName(*camera, now);
  if (std::filesystem::is_directory(path, failure)) path += "/" + PictureName(*camera, now);
  if (!WriteFile(path, picture.data(), picture.size()))
    return Failed("cannot write " + path + ": " + strerror(errno));
  std::printf("%s: %ux%u, %zu bytes, %s\n",
              Printable(path).c_str(),
              unsigned{size->width},
              unsigned{size->height},
              picture.size(),
              from_ring ? "from the running daemon" : "from the camera itself");
  return kDone;
}

struct WatchOptions {
  std::string camera;
  std::string folder;
  int seconds = 0;
  long frames = 0;
  bool json = false;
};

const char* StatusText(CAM_CONN_STATUS status) {
  constexpr const char* kTexts[] = {
      "no recorder", "waiting for the camera", "connected", "camera lost"};
  return status >= CAM_CONN_NONE && status <= CAM_CONN_LOST ? kTexts[status] : "unknown";
}

std::string ReportText(const WatchReport& report) {
  char text[160];
  (void)std::snprintf(text,
                      sizeof text,
                      "%s  %.1f fps  %ux%u  %.1f KB  delay %.1f ms  %ld frames  %ld lost",
                      StatusText(report.status),
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
  return {{"status", StatusText(report.status)},
          {"fps", report.rate},
          {"width", report.picture.width},
          {"height", report.picture.height},
          {"bytes", report.bytes},
          {"delay_ms", report.delay},
          {"frames", report.frames},
          {"lost", report.missed},
          {"rings", report.rings}};
}

// Shows what the watcher sees until a signal, or until it or the time is over.
WatchReport ShowUntilOver(Watcher& watcher, int camera_id, const WatchOptions& options) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  Clock::time_point next_line = begin + std::chrono::seconds(1);
  Progress progress(options.seconds > 0 || options.frames > 0);
  for (;;) {
    const bool interrupted = WaitForEndingSignal();
    WatchReport report = watcher.Report();
    if (!RunningDaemon(camera_id)) report.status = CAM_CONN_NONE;
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

int Watch(const WatchOptions& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  if (!RequireLivePictures(*camera)) return kFailed;
  std::error_code failure;
  if (!options.folder.empty()) std::filesystem::create_directories(options.folder, failure);
  if (failure) return Failed("cannot make " + options.folder + ": " + failure.message());

  BlockEndingSignals();
  long left = options.frames;
  std::string error;
  WatchReport report;
  {
    Watcher watcher(camera->GetId(), [&](const watchpost::LiveFrame& frame) {
      const std::string path = options.folder + "/" + PictureName(*camera, frame.finished);
      if (!options.folder.empty() &&
          !WriteFile(path, frame.data, static_cast<std::size_t>(frame.size))) {
        error = "cannot write " + path + ": " + strerror(errno);
        return false;
      }
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

void AddLiveCommands(CLI::App& camera_group, int& status) {
  CLI::App* snapshot =
      camera_group.add_subcommand("snapshot", "Write one live picture of a camera to a file");
  const auto which = std::make_shared<std::string>();
  const auto path = std::make_shared<std::string>();
  snapshot->add_option("CAMERA", *which, "Id or name")->required();
  snapshot->add_option("FILE", *path, "Where to; - for standard output [NAME-DATE-TIME.jpg]");
  snapshot->footer(
      "The picture comes from the running daemon or, without one, from the camera itself.\n"
      "\nExamples:\n"
      "  wpctl camera snapshot Porch\n"
      "  wpctl camera snapshot 1 - | display");
  snapshot->callback([&status, which, path] { status = Snapshot(*which, *path); });

  CLI::App* watch =
      camera_group.add_subcommand("watch", "Follow a camera's live pictures until Ctrl-C");
  const auto options = std::make_shared<WatchOptions>();
  watch->add_option("CAMERA", options->camera, "Id or name")->required();
  watch->add_option("--save", options->folder, "Write every picture into this folder");
  watch->add_option("--seconds", options->seconds, "End after so many seconds")
      ->check(CLI::Range(1, 1000000));
  watch->add_option("--frames", options->frames, "End after so many pictures")
      ->check(CLI::Range(1L, 1000000000L));
  watch->add_flag("--json", options->json, "Print the last state as JSON at the end");
  watch->footer(
      "Shows rate, size, delay from the recorder to here, and how many pictures are missing by "
      "the\n"
      "camera's rhythm. Watching never disturbs the recording.\n"
      "\nExamples:\n"
      "  wpctl camera watch Porch\n"
      "  wpctl camera watch Porch --save /tmp/porch --frames 100");
  watch->callback([&status, options] { status = Watch(*options); });
}

}  // namespace wpctl
