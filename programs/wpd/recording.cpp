#include "recording.h"

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <watchpost/event/camerafolder.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/event/recordingfile.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

namespace wpd {
namespace {

constexpr std::size_t kMostGathered = 256 << 10;
constexpr std::chrono::milliseconds kLongestGathered{200};

// 0 when there is no such file.
std::uint64_t InodeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
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
  if (!recording->Open()) {
    error = "cannot begin " + recording->path_ + ": " + strerror(errno);
    recording->Discard();  // it holds nothing yet
    return nullptr;
  }
  recording->inode_ = InodeOf(recording->path_);
  recording->row_.SetSize(watchpost::RowSize(recording->Bytes()));
  if (camera.IsMotionLog())
    recording->levels_ = std::make_unique<MDLog>(recording->path_, camera.GetSensitivity());
  return recording;
}

Recording::Recording(const Camera& camera, EVENT_CAUSE cause, const Frame& first, std::string name)
    : size_(first.picture),
      nominal_rate_(watchpost::FrameRate(0, 0, camera.GetFPS())),
      first_wall_(first.wall),
      first_(first.steady),
      last_(first.steady),
      row_(camera.GetId(), size_.width, size_.height, cause, std::move(name)),
      folder_(camera.GetStoragePath()),
      path_(watchpost::JoinRecordingPath(folder_, row_.GetPath())) {
  row_.SetStartTime(std::chrono::system_clock::to_time_t(first.wall));
  row_.SetEndTime(row_.GetStartTime());
}

// Who looks at a file that is not locked yet holds its lock for a moment.
bool Recording::Open() {
  constexpr int kTries = 20;
  constexpr std::chrono::milliseconds kPause{5};
  for (int tried = 0; tried < kTries; ++tried) {
    const int status =
        MJE_CreateCompress(&file_, path_.c_str(), size_.width, size_.height, nominal_rate_);
    if (status == MJE_OK) return true;
    if (status != MJE_ERR_OPEN || errno != EWOULDBLOCK) return false;
    std::this_thread::sleep_for(kPause);
  }
  return false;
}

Recording::~Recording() {
  (void)Finish();
}  // the last chance; whoever cares has called it before

int Recording::Write(const Frame& frame, int level) {
  if (gathered_.sizes.empty()) gathered_.first = frame.steady;
  gathered_.bytes.insert(gathered_.bytes.end(), frame.data, frame.data + frame.size);
  gathered_.sizes.push_back(frame.size);
  gathered_.levels.push_back(static_cast<unsigned char>(level));
  gathered_.last = frame.steady;
  if (row_.GetFrameCount() == 0 || gathered_.bytes.size() >= kMostGathered) return WriteGathered();
  return WriteOverdue(frame.steady);
}

int Recording::WriteOverdue(std::chrono::steady_clock::time_point now) {
  const bool overdue = !gathered_.sizes.empty() && now - gathered_.first >= kLongestGathered;
  return overdue ? WriteGathered() : MJE_OK;
}

// Frames first, so that a log never has levels of frames that are not there.
int Recording::WriteGathered() {
  if (gathered_.sizes.empty()) return MJE_OK;
  std::vector<watchpost::FrameBytes> frames;
  const unsigned char* data = gathered_.bytes.data();
  for (const std::uint32_t size : gathered_.sizes) {
    frames.push_back({data, size});
    data += size;
  }
  const int status = watchpost::WriteFrames(&file_, frames);
  if (status == MJE_OK) {
    // A log that is too short is refused when it is read.
    if (levels_ != nullptr) (void)levels_->WriteLevels(gathered_.levels);
    last_ = gathered_.last;
    row_.SetFrameCount(row_.GetFrameCount() + static_cast<int>(frames.size()));
    // By the steady clock: the other one may be set meanwhile.
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(last_ - first_);
    row_.SetEndTime(row_.GetStartTime() + static_cast<long>(seconds.count()));
  }
  gathered_.bytes.clear();
  gathered_.sizes.clear();
  gathered_.levels.clear();
  row_.SetSize(watchpost::RowSize(Bytes()));
  return status;
}

std::uint16_t Recording::MeasuredRate() const {
  const double seconds = std::chrono::duration<double>(last_ - first_).count();
  return watchpost::FrameRate(row_.GetFrameCount(), seconds, nominal_rate_);
}

bool Recording::Finish() {
  if (file_ == nullptr) return true;
  const bool all_written = WriteGathered() == MJE_OK;
  levels_.reset();
  (void)MJE_SetAttribute(&file_, size_.width, size_.height, MeasuredRate());  // all above 0
  // Not what is there by its name: its disk may have been unmounted.
  const std::uint64_t bytes = watchpost::FinishedBytes(file_);
  if (MJE_FinishCompress(&file_) != MJE_OK) return false;
  row_.SetSize(watchpost::RowSize(bytes));
  return all_written;
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
