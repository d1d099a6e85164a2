#include "spacekeeper.h"

#include <sys/statvfs.h>
#include <unistd.h>
#include <watchpost/event/wprotate.h>
#include <watchpost/foundation/utils.h>
#include <watchpost/foundation/wpdb.h>
#include <watchpost/foundation/wplog.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>

#include "rotation.h"

namespace wpd {
namespace {

constexpr std::chrono::seconds kBetweenLooks{5};
constexpr std::chrono::minutes kBetweenTells{1};
constexpr double kAnySize = 1e9;  // MiB
// A small disk would hold nothing but its free space.
constexpr std::uint64_t kLargestShare = 10;

// The free space that is wanted on the disk of a folder.
std::uint64_t FloorOf(const std::string& folder, std::uint64_t wanted) {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return 0;
  const std::uint64_t size = static_cast<std::uint64_t>(status.f_blocks) * status.f_frsize;
  return std::min(wanted, size / kLargestShare);
}

// What may go next: the camera's recordings up to a second of their end.
struct Oldest {
  long stop = 0;     // that second
  int rows = 0;      // of recordings up to it
  std::string file;  // one of them
};

// Nothing unless one of the oldest files is there: without any, a disk may be missing, and removing
// rows would make no room.
std::optional<Oldest> FindOldest(const Camera& camera) {
  DBResult* result = nullptr;
  if (WPDBExecute(
          "SELECT stop_time,path FROM event WHERE camera_id=" + std::to_string(camera.GetId()) +
              " AND archived=false ORDER BY stop_time LIMIT 1000",
          &result) != 0) {
    return std::nullopt;
  }
  Oldest oldest;
  for (auto row = static_cast<unsigned int>(-1); ORVADBFetchRow(result, &row) == 0;) {
    const char* stop_text = ORVADBFetchField(result, row, "stop_time");
    const char* path = ORVADBFetchField(result, row, "path");
    const long stop = stop_text == nullptr ? 0 : std::atol(stop_text);
    if (!oldest.file.empty() && stop != oldest.stop) break;
    ++oldest.rows;
    const std::string file = camera.GetStoragePath() + "/" + (path == nullptr ? "" : path);
    if (!oldest.file.empty() || stop <= 0 || access(file.c_str(), F_OK) != 0) continue;
    oldest.stop = stop;
    oldest.file = file;
  }
  ORVADBFreeResult(result);
  if (oldest.file.empty()) return std::nullopt;
  return oldest;
}

}  // namespace

std::uint64_t FreeBytes(const std::string& folder) {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return UINT64_MAX;
  return static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
}

SpaceKeeper::SpaceKeeper(const Settings& settings, const Camera& camera, Mailer& mailer)
    : wanted_(settings.floor_bytes),
      mailer_(mailer),
      full_("camera " + std::to_string(camera.GetId()) + ": the disk has room again",
            settings.mail_steady),
      told_(settings.mail_steady),
      camera_(camera) {}

void SpaceKeeper::Start() {
  thread_.Start([this] { Run(); });
}

void SpaceKeeper::SetCamera(const Camera& camera) {
  const std::lock_guard lock(mutex_);
  camera_ = camera;
}

void SpaceKeeper::Look() {
  {
    const std::lock_guard lock(mutex_);
    look_ = true;
  }
  wake_.notify_one();
}

bool SpaceKeeper::Stop(std::chrono::milliseconds limit) {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  return thread_.Join(limit);
}

bool SpaceKeeper::IsStopped() {
  const std::lock_guard lock(mutex_);
  return stop_;
}

void SpaceKeeper::Run() {
  std::unique_lock lock(mutex_);
  while (!stop_) {
    look_ = false;
    Camera camera = camera_;
    lock.unlock();
    KeepFree(camera);
    lock.lock();
    (void)wake_.wait_for(lock, kBetweenLooks, [this] { return stop_ || look_; });  // either way
  }
  Camera camera = camera_;
  TellRemoved(camera, true);
}

void SpaceKeeper::KeepFree(Camera& camera) {
  const std::string folder = camera.GetStoragePath();
  const std::uint64_t floor = FloorOf(folder, wanted_);
  if (FreeBytes(folder) < floor && IsRotated(camera)) removed_ += RemoveOldest(camera, floor);
  TellRemoved(camera, false);
  if (FreeBytes(folder) >= floor) {
    full_.End();
    (void)told_.End();  // there is no mail for it
    return;
  }
  full_.Begin("camera " + std::to_string(camera.GetId()) + " (" + camera.GetName() +
              "): its disk is nearly full, " +
              (IsRotated(camera) ? "and it has no recording left that can be removed"
                                 : "and it has no limit that would let old recordings go"));
  if (told_.Begin()) mailer_.Post(WP_MAIL_RECORDING_FAILED, camera);
}

// In the appliance's event log, once a minute at most.
void SpaceKeeper::TellRemoved(Camera& camera, bool now) {
  const auto moment = std::chrono::steady_clock::now();
  if (removed_ == 0 || (!now && moment < next_tell_)) return;
  (void)WPLog(WP_LOG_ROTATED_BY_SIZE,
              camera.GetName().c_str(),
              itos(removed_).c_str(),
              "",
              "");  // always 0
  removed_ = 0;
  next_tell_ = moment + kBetweenTells;
}

// Returns how many recordings have gone. They go by whole seconds of their end: removing takes the
// rows of the last second whole, and no file is to stay without its row. Ends when it gets nowhere.
int SpaceKeeper::RemoveOldest(Camera& camera, std::uint64_t floor) {
  WPRotate rotate(&camera);
  int total = 0;
  long last = 0;
  while (!IsStopped() && FreeBytes(camera.GetStoragePath()) < floor) {
    const std::optional<Oldest> oldest = FindOldest(camera);
    if (!oldest || oldest->stop == last || access(camera.GetStoragePath().c_str(), W_OK) != 0)
      break;
    last = oldest->stop;
    int removed = 0;
    (void)rotate.RemoveFileBySizeWithUpperbound(
        kAnySize, oldest->rows, removed);  // free space tells how far it got
    if (removed == 0 || access(oldest->file.c_str(), F_OK) == 0) break;
    total += removed;
  }
  return total;
}

}  // namespace wpd
