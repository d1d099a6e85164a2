// wpctl camera snapshot

#include <sys/time.h>
#include <watchpost/media/jpegcheck.h>
#include <watchpost/media/jpegsize.h>
#include <watchpost/net/cameraverify.h>
#include <watchpost/net/multipartfetch.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "addresscheck.h"
#include "cameras.h"
#include "commands.h"
#include "framefile.h"
#include "liveframe.h"
#include "report.h"
#include "timelimit.h"
#include "verb.h"

namespace wpctl {
namespace {

using Frame = std::vector<unsigned char>;

struct Options {
  std::string camera;
  std::string path;
};

// Results of FromCamera beyond MF_STATUS.
enum : int { kNotJpeg = 100, kChunked = 101, kDamaged = 102 };

// The first frame of the camera's stream, or what says why there is none.
int FromCamera(const Camera& camera, Frame& frame) {
  constexpr int kLongest = 15;  // seconds
  constexpr unsigned int kLargest = 64U << 20;
  const TimeLimit limit(kLongest);
  MultipartFetch fetch(camera.GetHost().c_str(),
                       camera.GetPort(),
                       camera.GetPath().c_str(),
                       camera.GetUsername().c_str(),
                       camera.GetPassword().c_str());
  unsigned int size = 0;
  char type[64];
  const int status = fetch.NextPartInfo(size, type, sizeof type);
  if (fetch.IsChunked()) return kChunked;
  if (status != MF_OK) return status;
  if (!IsJpegType(type)) return kNotJpeg;
  if (size == 0 || size > kLargest) return MF_ERR_PART_LENGTH;
  frame.resize(size);
  if (const int got = fetch.FetchContent(frame.data(), size); got != MF_OK) return got;
  return watchpost::IsWholeJpeg(frame.data(), size) ? static_cast<int>(MF_OK) : kDamaged;
}

std::string ReasonOf(int status) {
  switch (status) {
    case kNotJpeg:
      return VerifyText(CV_ERR_NOT_JPEG);
    case kChunked:
      return VerifyText(kStreamChunked);
    case kDamaged:
      return VerifyText(kStreamDamaged);
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

// The file to write; one of a fresh name where a folder is named, or nothing.
std::string PathFor(const Camera& camera, const std::string& given) {
  std::error_code failure;
  const bool folder = std::filesystem::is_directory(given, failure);
  if (given == "-" || (!given.empty() && !folder)) return given;
  timeval now{};
  (void)gettimeofday(&now, nullptr);  // cannot fail with these arguments
  return (folder ? given + "/" : "") + FrameFileName(camera, now);
}

int Snapshot(const Options& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  const std::string title = "camera \"" + camera->GetName() + "\"";
  Frame frame = LatestFrame(camera->GetId());
  const bool from_ring = !frame.empty();
  if (!from_ring) {
    if (const int status = FromCamera(*camera, frame); status != MF_OK)
      return Failed("no frame from " + title + ": " + ReasonOf(status));
  }
  const auto size = watchpost::ReadJpegSize(frame.data(), frame.size());
  if (!size) return Failed(title + " sends something that is no JPEG frame");
  std::string error;
  const std::string path = PathFor(*camera, options.path);
  if (!WriteFrame(path, frame.data(), frame.size(), error)) return Failed(error);
  if (path == "-") return kDone;
  std::printf("%s: %ux%u, %zu bytes, %s\n",
              Printable(path).c_str(),
              unsigned{size->width},
              unsigned{size->height},
              frame.size(),
              from_ring ? "from the running daemon" : "from the camera itself");
  return kDone;
}

}  // namespace

void AddCameraSnapshot(Group& camera) {
  auto [verb, options] =
      camera.Add("snapshot", "Write one live frame of a camera to a file", Snapshot);
  AddCameraArgument(verb, options.camera);
  verb.Add("FILE", options.path, "Where to; - for standard output [NAME-DATE-TIME.jpg]");
  AddExamples(verb,
              "The frame comes from the running daemon or, without one, from the camera itself.",
              {"wpctl camera snapshot Porch", "wpctl camera snapshot 1 - | display"});
}

}  // namespace wpctl
