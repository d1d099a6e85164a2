// wpctl camera verify: does a camera deliver what its record says, and what is its stream like?

#include <watchpost/net/cameraverify.h>
#include <watchpost/net/multipartfetch.h>
#include <watchpost/net/wphttpclient.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "progress.h"
#include "report.h"
#include "verify.h"

namespace wpctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFrames = 101;
constexpr std::chrono::seconds kLongest{8};
constexpr unsigned int kLargestPicture = 64U << 20;
constexpr double kMiB = 1048576;
constexpr double kSecondsADay = 86400;

struct StreamReport {
  std::string dialect;
  double rate = 0;    // frames a second
  double bytes = 0;   // a frame
  double jitter = 0;  // standard deviation of the time between frames, ms
  int frames = 0;
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
  std::vector<unsigned char> picture;
  Progress progress(true);
  const Clock::time_point begin = Clock::now();
  Clock::time_point last = begin;
  double bytes = 0;
  while (report.frames < kFrames && Clock::now() - begin < kLongest) {
    unsigned int length = 0;
    char type[64];
    if (fetch.NextPartInfo(length, type, sizeof type) != MF_OK || length > kLargestPicture) break;
    picture.resize(std::max<std::size_t>(picture.size(), length));
    if (fetch.FetchContent(picture.data(), static_cast<unsigned int>(picture.size())) != MF_OK)
      break;
    const Clock::time_point now = Clock::now();
    if (report.frames > 0)
      gaps.push_back(std::chrono::duration<double, std::milli>(now - last).count());
    last = now;
    bytes += length;
    ++report.frames;
    progress.Show(static_cast<double>(report.frames) / kFrames, "measuring");
  }
  if (gaps.empty()) return report;
  double sum = 0;
  double squares = 0;
  for (const double gap : gaps) {
    sum += gap;
    squares += gap * gap;
  }
  const double mean = sum / static_cast<double>(gaps.size());
  report.rate = mean > 0 ? 1000 / mean : 0;
  report.bytes = bytes / report.frames;
  report.jitter =
      std::sqrt(std::max(0.0, squares / static_cast<double>(gaps.size()) - mean * mean));
  return report;
}

double DaysUntilFull(const Camera& camera, const StreamReport& report) {
  const double a_day = report.rate * report.bytes * kSecondsADay / kMiB;
  return camera.IsRotatedBySize() && a_day > 0 ? camera.GetCapacityLimit() / a_day : 0;
}

void PrintReport(const Camera& camera, const StreamReport& report) {
  std::printf("Stream    %s\n", Printable(report.dialect).c_str());
  std::printf("Rate      %.1f frames a second, %d expected; %.1f ms jitter\n",
              report.rate,
              camera.GetFPS(),
              report.jitter);
  std::printf("Pictures  %.1f KiB each, %.2f MiB a minute\n",
              report.bytes / 1024,
              report.rate * report.bytes * 60 / kMiB);
  if (const double days = DaysUntilFull(camera, report); days > 0)
    std::printf("Limit     %d MiB are full after %.1f days of recording\n",
                camera.GetCapacityLimit(),
                days);
}

int Verify(const std::string& which, bool as_json) {
  const std::optional<Camera> camera = FindCamera(which);
  if (!camera) return kFailed;
  if (camera->GetPath().empty()) {
    return Failed("camera " + which + " has no path, which this check needs; \"wpctl camera set " +
                  which + " --path PATH\"");
  }
  int width = camera->GetImageWidth();
  int height = camera->GetImageHeight();
  const bool any_size = width <= 0 || height <= 0;
  const int result = VerifyAddress(*camera, width, height);
  const bool delivers = result == CV_OK || result == CV_ERR_DIMENSION;
  StreamReport report;
  if (delivers) {
    report.dialect = DialectOf(*camera);
    report = [&] {
      StreamReport measured = Measure(*camera);
      measured.dialect = report.dialect;
      return measured;
    }();
  }
  const bool good = result == CV_OK || (result == CV_ERR_DIMENSION && any_size);
  if (as_json) {
    PrintJson({{"code", good ? CV_OK : result},
               {"text", good ? VerifyText(CV_OK) : VerifyText(result)},
               {"width", width},
               {"height", height},
               {"dialect", report.dialect},
               {"frames_per_second", report.rate},
               {"bytes_per_frame", report.bytes},
               {"jitter_ms", report.jitter},
               {"days_until_full", DaysUntilFull(*camera, report)}});
    return good ? kDone : kFailed;
  }
  if (good)
    std::printf("Camera %s delivers pictures of %dx%d.\n", Printable(which).c_str(), width, height);
  if (result == CV_ERR_DIMENSION && !any_size) {
    (void)Failed("camera " + which + " sends pictures of " + std::to_string(width) + "x" +
                 std::to_string(height) + " where its record says " +
                 std::to_string(camera->GetImageWidth()) + "x" +
                 std::to_string(camera->GetImageHeight()) + "; \"wpctl camera set " + which +
                 " --size " + std::to_string(width) + "x" + std::to_string(height) +
                 "\" corrects it");
  } else if (!good) {
    (void)Failed("camera " + which + ": " + VerifyText(result));
  }
  if (delivers) PrintReport(*camera, report);
  return good ? kDone : kFailed;
}

}  // namespace

int VerifyAddress(const Camera& camera, int& width, int& height) {
  Camera asked = camera;
  if (width <= 0 || height <= 0) width = height = 1;
  return CameraVerify(asked).CVVerifyCameraStatus(width, height);
}

std::string VerifyText(int status) {
  switch (status) {
    case CV_OK:
      return "delivers pictures";
    case CV_ERR_CONNECT:
      return "nothing answers at its address, or it stopped sending; are host and port right, and "
             "is "
             "it switched on?";
    case CV_ERR_BAD_RESPONSE:
      return "it refuses the stream; is the path right? \"wpctl camera add --probe\" tries the "
             "known "
             "ones";
    case CV_ERR_UNAUTHORIZED:
      return "it refuses user name and password; \"wpctl camera set CAMERA --user U --password P\" "
             "corrects them";
    case CV_ERR_NOT_MJPEG:
      return "the path leads to something that is no stream, such as a page or a single picture";
    case CV_ERR_NOT_JPEG:
      return "its stream holds no JPEG pictures; is it set to Motion-JPEG?";
    case CV_ERR_DIMENSION:
      return "its pictures have another size";
    case CV_ERR_NO_MEMORY:
      return "there is no memory for its pictures";
    default:
      return "its stream holds no picture that can be read, or is written in a way this client "
             "does "
             "not take: a boundary in capitals, or other lines between type and length";
  }
}

void AddVerifyCommand(CLI::App& camera_group, int& status) {
  CLI::App* verb = camera_group.add_subcommand(
      "verify", "Check that a camera delivers what its record says, and measure its stream");
  const auto which = std::make_shared<std::string>();
  const auto as_json = std::make_shared<bool>(false);
  verb->add_option("CAMERA", *which, "Id or name")->required();
  verb->add_flag("--json", *as_json, "For scripts");
  verb->footer("Takes up to 8 seconds.\n\nExamples:\n  wpctl camera verify Porch");
  verb->callback([&status, which, as_json] { status = Verify(*which, *as_json); });
}

}  // namespace wpctl
