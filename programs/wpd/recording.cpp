#include "recording.h"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <watchpost/media/aviformat.h>
#include <watchpost/platform/orvaea.h>
#include <watchpost/platform/unique_fd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace wpd {
namespace {

constexpr int kMostNamesakes = 1000;
constexpr std::size_t kLevelsAtOnce = 32;

std::string LocalTimeName(std::chrono::system_clock::time_point when) {
  const time_t seconds = std::chrono::system_clock::to_time_t(when);
  tm local{};
  std::array<char, 32> text{};
  if (localtime_r(&seconds, &local) == nullptr) return std::to_string(seconds);
  (void)strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", &local);  // always fits
  return text.data();
}

// A prefix is a part of a file's name, whatever its row holds.
std::string SafePrefix(std::string prefix) {
  const auto unsafe = [](unsigned char c) { return c == '/' || c < ' '; };
  std::replace_if(prefix.begin(), prefix.end(), unsafe, '_');
  return prefix;
}

// Takes a name that no file has yet: local time repeats an hour in autumn, and no recording may
// overwrite another.
std::string ClaimName(const std::string& folder, const std::string& stem, std::string& error) {
  std::error_code failure;
  std::filesystem::create_directories(folder, failure);  // shows when the file is opened
  for (int number = 1; number < kMostNamesakes; ++number) {
    std::string name = stem + (number == 1 ? "" : "-" + std::to_string(number)) + ".avi";
    const std::string path = folder + "/" + name;
    const watchpost::UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (fd.IsValid()) return name;
    if (errno == EEXIST) continue;
    error = "cannot create " + path + ": " + strerror(errno);
    return "";
  }
  error = "cannot create " + folder + "/" + stem + ".avi: too many files of that name";
  return "";
}

// 0 when there is no such file.
std::uint64_t InodeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

std::uint16_t FitRate(long rate) {
  return static_cast<std::uint16_t>(std::clamp(rate, 1L, 65535L));
}

int FitSize(std::uint64_t bytes) {
  return static_cast<int>(std::min<std::uint64_t>(bytes, INT32_MAX));
}

}  // namespace

std::unique_ptr<Recording> Recording::Start(const Camera& camera,
                                            EVENT_CAUSE cause,
                                            const Frame& first,
                                            std::string& error) {
  const std::string folder = camera.GetStoragePath();
  if (!folder.starts_with('/')) {
    error = "the camera's storage path \"" + folder + "\" is not absolute";
    return nullptr;
  }
  const std::string stem = SafePrefix(camera.GetFilenamePrefix()) + LocalTimeName(first.wall);
  const std::string name = ClaimName(folder, stem, error);
  if (name.empty()) return nullptr;
  std::unique_ptr<Recording> recording(new Recording(camera, cause, first, name));
  const int status = MJE_CreateCompress(&recording->file_,
                                        recording->path_.c_str(),
                                        first.picture.width,
                                        first.picture.height,
                                        recording->nominal_rate_);
  if (status != MJE_OK) {
    error = "cannot begin " + recording->path_ + ": " + strerror(errno);
    (void)unlink(recording->path_.c_str());  // it holds nothing yet
    return nullptr;
  }
  recording->inode_ = InodeOf(recording->path_);
  if (camera.IsMotionLog())
    recording->levels_ = std::make_unique<MDLog>(recording->path_, camera.GetSensitivity());
  return recording;
}

Recording::Recording(const Camera& camera, EVENT_CAUSE cause, const Frame& first, std::string name)
    : path_(camera.GetStoragePath() + "/" + name),
      size_(first.picture),
      nominal_rate_(FitRate(camera.GetFPS())),
      first_(first.steady),
      last_(first.steady),
      bytes_(watchpost::avi::kFramesAt) {
  row_.camera_id = camera.GetId();
  row_.width = size_.width;
  row_.height = size_.height;
  row_.start = std::chrono::system_clock::to_time_t(first.wall);
  row_.stop = row_.start;
  row_.cause = cause;
  row_.path = std::move(name);
  row_.file = path_;
  row_.size = FitSize(bytes_);
}

Recording::~Recording() {
  (void)Finish();
}  // the last chance; whoever cares has called it before

int Recording::Write(const Frame& frame, int level) {
  const int status = MJE_WriteFrame(&file_, frame.data, frame.size);
  if (status != MJE_OK) return status;
  if (levels_ != nullptr) pending_levels_.push_back(level);
  if (pending_levels_.size() >= kLevelsAtOnce) WriteLevels();
  last_ = frame.steady;
  constexpr std::uint32_t kAlignment = watchpost::avi::kFrameAlignment;
  bytes_ +=
      watchpost::avi::kChunkHeaderSize + (frame.size + kAlignment - 1) / kAlignment * kAlignment;
  ++row_.frames;
  // The clock may have been set back meanwhile.
  row_.stop = std::max<long>(row_.start, std::chrono::system_clock::to_time_t(frame.wall));
  row_.size = FitSize(bytes_);
  return MJE_OK;
}

// Writes of single bytes, a frame's time apart, would cost a tenth of what recording costs.
void Recording::WriteLevels() {
  for (const int level : pending_levels_) {
    (void)levels_->WriteLevel(level);  // a log that is too short is refused when it is read
  }
  pending_levels_.clear();
}

std::uint16_t Recording::MeasuredRate() const {
  const double seconds = std::chrono::duration<double>(last_ - first_).count();
  if (row_.frames < 2 || seconds <= 0) return nominal_rate_;
  return FitRate(std::lround((row_.frames - 1) / seconds));
}

bool Recording::Finish() {
  if (file_ == nullptr) return true;
  WriteLevels();
  levels_.reset();
  (void)MJE_SetAttribute(&file_, size_.width, size_.height, MeasuredRate());  // all above 0
  const bool complete = MJE_FinishCompress(&file_) == MJE_OK;
  struct stat status {};
  if (stat(path_.c_str(), &status) == 0)
    row_.size = FitSize(static_cast<std::uint64_t>(status.st_size));
  row_.finished = true;
  return complete;
}

bool Recording::IsInPlace() const {
  return InodeOf(path_) == inode_;
}

void Recording::Discard() {
  (void)Finish();
  (void)ORVAEARemove(path_.c_str());  // what stays is found by whoever looks after the folder
  (void)unlink(path_.c_str());
}

}  // namespace wpd
