#include "event/recordingfile.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <filesystem>

namespace watchpost {
namespace {

constexpr char kExtension[] = ".avi";

std::string LocalTimeName(time_t when) {
  tm local{};
  std::array<char, 32> text{};
  if (localtime_r(&when, &local) == nullptr) return std::to_string(when);
  (void)strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", &local);  // always fits
  return text.data();
}

std::string SafePrefix(std::string prefix) {
  const auto unsafe = [](unsigned char c) { return c == '/' || c < ' '; };
  std::replace_if(prefix.begin(), prefix.end(), unsafe, '_');
  return prefix;
}

bool IsInFolder(const std::string& name) {
  const std::filesystem::path path(name);
  if (name.empty() || name.find('\0') != std::string::npos || path.is_absolute()) return false;
  return std::none_of(path.begin(), path.end(), [](const auto& part) { return part == ".."; });
}

}  // namespace

std::string JoinRecordingPath(const std::string& folder, const std::string& name) {
  return folder + "/" + name;
}

std::uint64_t DiskUsage(const std::string& path) noexcept {
  constexpr std::uint64_t kBlock = 512;  // whatever the disk's own are
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_blocks) * kBlock
                                          : 0;
}

int RowSize(std::uint64_t bytes) noexcept {
  return static_cast<int>(std::min<std::uint64_t>(bytes, INT32_MAX));
}

std::uint16_t FrameRate(int frames, double seconds, int usual) noexcept {
  const double rate = frames < 2 || seconds <= 0 ? usual : (frames - 1) / seconds;
  return static_cast<std::uint16_t>(std::lround(std::clamp(rate, 1.0, 65535.0)));
}

std::optional<std::string> RecordingPath(const std::string& folder, const std::string& name) {
  if (!IsInFolder(name)) return std::nullopt;
  return JoinRecordingPath(folder, name);
}

std::optional<std::string> RecordingPath(const Camera& camera, const Event& event) {
  return RecordingPath(camera.GetStoragePath(), event.GetPath());
}

std::string RecordingName(const std::string& prefix, time_t when, int number) {
  return SafePrefix(prefix) + LocalTimeName(when) +
         (number == 1 ? "" : "-" + std::to_string(number)) + kExtension;
}

bool IsRecordingName(const std::string& name) {
  return std::filesystem::path(name).extension() == kExtension;
}

std::optional<long> StartOfRecording(const std::string& name) noexcept {
  constexpr std::size_t kDay = 8;
  constexpr std::size_t kTime = 6;
  constexpr std::size_t kStamp = kDay + 1 + kTime;
  const auto is_stamp = [&](std::size_t at) {
    for (std::size_t i = 0; i < kStamp; ++i) {
      const auto c = static_cast<unsigned char>(name[at + i]);
      if (i == kDay ? c != '-' : std::isdigit(c) == 0) return false;
    }
    return true;
  };
  const std::size_t end = name.rfind(kExtension);
  if (end == std::string::npos || end < kStamp) return std::nullopt;
  // From the back: a prefix may look like anything, and "-N" may follow.
  for (std::size_t at = end - kStamp + 1; at-- > 0;) {
    if (!is_stamp(at)) continue;
    const auto number = [&](std::size_t from, std::size_t length) {
      return std::stoi(name.substr(at + from, length));
    };
    tm local{};
    local.tm_year = number(0, 4) - 1900;
    local.tm_mon = number(4, 2) - 1;
    local.tm_mday = number(6, 2);
    local.tm_hour = number(9, 2);
    local.tm_min = number(11, 2);
    local.tm_sec = number(13, 2);
    local.tm_isdst = -1;
    const time_t seconds = std::mktime(&local);
    if (seconds == -1) return std::nullopt;
    return seconds;
  }
  return std::nullopt;
}

}  // namespace watchpost
