#include "recording.h"

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <watchpost/event/camerafolder.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/event/recordingfile.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

namespace wpd {
namespace {

constexpr std::size_t kLevelsAtOnce = 32;

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
  const time_t when = std::chrono::system_clock::to_time_t(first.wall);
  const std::string name = watchpost::CreateRecording(camera, when, error);
  if (name.empty()) return nullptr;
  std::unique_ptr<Recording> recording(new Recording(camera, cause, first, name));
  const int status = MJE_CreateCompress(&recording->file_,
                                        recording->path_.c_str(),
                                        first.picture.width,
                                        first.picture.height,
                                        recording->nominal_rate_);
  if (status != MJE_OK) {
    error = "cannot begin " + recording->path_ + ": " + strerror(errno);
    recording->Discard();  // it holds nothing yet
    return nullptr;
  }
  recording->inode_ = InodeOf(recording->path_);
  recording->row_.SetSize(FitSize(recording->Bytes()));
  if (camera.IsMotionLog())
    recording->levels_ = std::make_unique<MDLog>(recording->path_, camera.GetSensitivity());
  return recording;
}

Recording::Recording(const Camera& camera, EVENT_CAUSE cause, const Frame& first, std::string name)
    : size_(first.picture),
      nominal_rate_(FitRate(camera.GetFPS())),
      first_wall_(first.wall),
      first_(first.steady),
      last_(first.steady),
      row_(camera.GetId(), size_.width, size_.height, cause, std::move(name)),
      folder_(camera.GetStoragePath()),
      path_(watchpost::JoinRecordingPath(folder_, row_.GetPath())) {
  row_.SetStartTime(std::chrono::system_clock::to_time_t(first.wall));
  row_.SetEndTime(row_.GetStartTime());
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
  row_.SetFrameCount(row_.GetFrameCount() + 1);
  // By the steady clock: the other one may be set meanwhile.
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(last_ - first_);
  row_.SetEndTime(row_.GetStartTime() + static_cast<long>(seconds.count()));
  row_.SetSize(FitSize(Bytes()));
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
  if (row_.GetFrameCount() < 2 || seconds <= 0) return nominal_rate_;
  return FitRate(std::lround((row_.GetFrameCount() - 1) / seconds));
}

bool Recording::Finish() {
  if (file_ == nullptr) return true;
  WriteLevels();
  levels_.reset();
  (void)MJE_SetAttribute(&file_, size_.width, size_.height, MeasuredRate());  // all above 0
  const bool complete = MJE_FinishCompress(&file_) == MJE_OK;
  struct stat status {};
  if (stat(path_.c_str(), &status) == 0)
    row_.SetSize(FitSize(static_cast<std::uint64_t>(status.st_size)));
  return complete;
}

std::uint64_t Recording::TakeGrowth() {
  const std::uint64_t before = taken_;
  taken_ = std::max(before, watchpost::DiskUsage(path_));
  return taken_ - before;
}

std::chrono::milliseconds Recording::ClockStep(const Frame& now) const {
  const auto wall = now.wall - first_wall_;
  const auto steady = now.steady - first_;
  return std::chrono::abs(std::chrono::duration_cast<std::chrono::milliseconds>(wall - steady));
}

bool Recording::IsInPlace() const {
  return InodeOf(path_) == inode_;
}

void Recording::Discard() {
  (void)Finish();
  (void)RemoveEventFile(path_.c_str());  // what stays is found by "wpctl storage check"
  watchpost::ForgetRecording(folder_, row_.GetCameraID(), row_.GetPath());
}

}  // namespace wpd
