// wpctl camera verify: does a camera deliver what its record says, and what is its stream like?

#include <watchpost/media/jpegcheck.h>
#include <watchpost/net/cameraverify.h>
#include <watchpost/net/multipartfetch.h>
#include <watchpost/net/wphttpclient.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "addresscheck.h"
#include "cameras.h"
#include "commands.h"
#include "progress.h"
#include "quantity.h"
#include "report.h"
#include "timelimit.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

using Clock = std::chrono::steady_clock;
using Frame = std::vector<unsigned char>;

constexpr int kFrames = 101;
constexpr std::chrono::seconds kLongest{8};
constexpr unsigned int kLargestFrame = 64U << 20;
constexpr std::size_t kMostKept = 256U << 20;  // bytes of frames, to look into
constexpr int kLongestTry = 20;                // seconds, for all together

struct StreamReport {
  double fps = 0;
  double bytes = 0;   // a frame
  double jitter = 0;  // standard deviation of the time between frames, ms
  int frames = 0;
  int damaged = 0;  // of those that were looked into
  int trouble = CV_OK;
};

// What came of trying a camera.
struct Verdict {
  int code = CV_OK;  // a CV_STATUS
  int width = 0;     // of the frames that came
  int height = 0;
  std::string dialect;
  StreamReport stream;
};

// Head and first bytes as they come, for what the reader of streams hides.
std::string DialectOf(const Camera& camera) {
  WPHttpClient client(camera.GetHost(),
                      camera.GetPort(),
                      camera.GetPath(),
                      camera.GetUsername(),
                      camera.GetPassword(),
                      3);
  int status = 0;
  std::string type;
  if (client.SendRequest() != HTTP_OK || client.CheckResponse(status) != HTTP_OK ||
      client.GetHttpContent(HTTP_CONTENT_TYPE, type) != HTTP_OK) {
    return "";
  }
  std::string text;
  char byte = 0;
  constexpr std::size_t kEnough = 600;
  while (text.size() < kEnough && text.find("\xFF\xD8") == std::string::npos &&
         client.ReadData(&byte, 1) == 1) {
    text += static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  }
  const std::size_t length = text.find("content-length:");
  const std::size_t at = text.find("content-type:");
  std::string dialect = length == std::string::npos ? "parts without length"
                        : length < at               ? "length before type"
                                                    : "type before length";
  const std::size_t boundary = type.find("boundary=");
  if (boundary != std::string::npos) dialect += ", " + type.substr(boundary);
  return dialect;
}

StreamReport Measure(const Camera& camera) {
  StreamReport report;
  MultipartFetch fetch(camera.GetHost().c_str(),
                       camera.GetPort(),
                       camera.GetPath().c_str(),
                       camera.GetUsername().c_str(),
                       camera.GetPassword().c_str());
  std::vector<double> gaps;
  std::vector<Frame> frames;  // looked into at the end: that takes longer than some gaps
  std::size_t kept = 0;
  Progress progress(true);
  const Clock::time_point begin = Clock::now();
  Clock::time_point last = begin;
  double bytes = 0;
  while (report.frames < kFrames && Clock::now() - begin < kLongest) {
    unsigned int length = 0;
    char type[64];
    const MF_STATUS status = fetch.NextPartInfo(length, type, sizeof type);
    if (fetch.IsChunked()) report.trouble = kStreamChunked;
    if (status == MF_OK && !IsJpegType(type)) report.trouble = CV_ERR_NOT_JPEG;
    if (status != MF_OK || report.trouble != CV_OK || length > kLargestFrame) break;
    Frame frame(length);
    if (fetch.FetchContent(frame.data(), length) != MF_OK) break;
    const Clock::time_point now = Clock::now();
    if (report.frames > 0)
      gaps.push_back(std::chrono::duration<double, std::milli>(now - last).count());
    last = now;
    bytes += length;
    ++report.frames;
    if ((kept += length) <= kMostKept) frames.push_back(std::move(frame));
    progress.Show(static_cast<double>(report.frames) / kFrames, "measuring");
  }
  report.damaged =
      static_cast<int>(std::count_if(frames.begin(), frames.end(), [](const Frame& frame) {
        return !watchpost::IsWholeJpeg(frame.data(), frame.size());
      }));
  if (report.trouble == CV_OK && report.damaged > 0) report.trouble = kStreamDamaged;
  if (gaps.empty()) return report;
  double sum = 0;
  double squares = 0;
  for (const double gap : gaps) {
    sum += gap;
    squares += gap * gap;
  }
  const double mean = sum / static_cast<double>(gaps.size());
  report.fps = mean > 0 ? 1000 / mean : 0;
  report.bytes = bytes / report.frames;
  report.jitter =
      std::sqrt(std::max(0.0, squares / static_cast<double>(gaps.size()) - mean * mean));
  return report;
}

double DaysUntilFull(const Camera& camera, const StreamReport& report) {
  const double a_day = report.fps * report.bytes * static_cast<double>(kDay) / kMiB;
  return a_day > 0 ? CapacityLimitOf(camera).value_or(0) / a_day : 0;
}

Verdict Try(const Camera& camera) {
  Verdict verdict;
  verdict.width = camera.GetImageWidth();
  verdict.height = camera.GetImageHeight();
  const bool any_size = verdict.width <= 0 || verdict.height <= 0;
  const TimeLimit limit(kLongestTry);
  int code = VerifyAddress(camera, verdict.width, verdict.height);
  if (code == CV_ERR_DIMENSION && any_size) code = CV_OK;
  verdict.code = code;
  if (code == CV_OK || code == CV_ERR_DIMENSION) {
    verdict.dialect = DialectOf(camera);
    verdict.stream = Measure(camera);
    if (verdict.stream.trouble != CV_OK) verdict.code = verdict.stream.trouble;
  } else if (code == CV_ERR_FAILED && !limit.IsOver() && InspectFrames(camera) == kStreamChunked) {
    verdict.code = kStreamChunked;
  }
  // What it sends once in a while must not pass for an answer.
  if (limit.IsOver() && verdict.stream.frames < 2) verdict.code = kStreamSlow;
  return verdict;
}

void PrintStream(const Camera& camera, const Verdict& verdict) {
  const StreamReport& stream = verdict.stream;
  std::vector<std::pair<std::string, std::string>> fields{
      {"Stream", verdict.dialect},
      {"Rate",
       Decimal(stream.fps) + " frames per second, " + std::to_string(camera.GetFPS()) +
           " expected; " + Decimal(stream.jitter) + " ms jitter"},
      {"Frames",
       Decimal(stream.bytes / kKiB) + " KiB each, " +
           Decimal(stream.fps * stream.bytes * static_cast<double>(kMinute) / kMiB, 2) +
           " MiB a minute"},
  };
  if (const double days = DaysUntilFull(camera, stream); days > 0) {
    fields.emplace_back("Limit",
                        std::to_string(camera.GetCapacityLimit()) + " MiB are full after " +
                            Decimal(days) + " days of recording");
  }
  PrintFields(fields);
}

void PrintVerdict(const std::string& which, const Camera& camera, const Verdict& verdict) {
  const std::string size = SizeText(verdict.width, verdict.height);
  if (verdict.code == CV_OK) {
    std::printf("Camera %s delivers frames of %s.\n", Printable(which).c_str(), size.c_str());
  } else if (verdict.code == CV_ERR_DIMENSION) {
    (void)Failed("camera " + which + " sends frames of " + size + " where its record says " +
                 SizeText(camera.GetImageWidth(), camera.GetImageHeight()) +
                 "; \"wpctl camera set " + which + " --size " + size + "\" corrects it");
  } else if (verdict.code == kStreamDamaged) {
    (void)Failed("camera " + which + ": " + VerifyText(verdict.code) + " (" +
                 std::to_string(verdict.stream.damaged) + " of " +
                 std::to_string(verdict.stream.frames) + ")");
  } else {
    (void)Failed("camera " + which + ": " + VerifyText(verdict.code));
  }
}

int Verify(const ShowCameraOptions& options) {
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  if (camera->GetPath().empty()) {
    return Failed("camera " + options.camera +
                  " has no path, which this check needs; \"wpctl camera set " + options.camera +
                  " --path PATH\"");
  }
  const Verdict verdict = Try(*camera);
  if (options.json) {
    PrintJson({{"code", verdict.code},
               {"text", VerifyText(verdict.code)},
               {"width", verdict.width},
               {"height", verdict.height},
               {"dialect", verdict.dialect},
               {"frames", verdict.stream.frames},
               {"damaged_frames", verdict.stream.damaged},
               {"fps", verdict.stream.fps},
               {"bytes_per_frame", verdict.stream.bytes},
               {"jitter_ms", verdict.stream.jitter},
               {"days_until_full", DaysUntilFull(*camera, verdict.stream)}});
  } else {
    PrintVerdict(options.camera, *camera, verdict);
    if (verdict.stream.frames > 1) PrintStream(*camera, verdict);
  }
  return verdict.code == CV_OK ? kDone : kFailed;
}

}  // namespace

void AddCameraVerify(Group& camera) {
  auto [verb, options] =
      camera.Add("verify",
                 "Check that a camera delivers what its record says, and measure its stream",
                 Verify);
  AddCameraArgument(verb, options.camera);
  AddJson(verb, options.json);
  AddExamples(verb,
              "Takes 20 seconds at most; looks into every frame that it measures.",
              {"wpctl camera verify Porch"});
}

}  // namespace wpctl
