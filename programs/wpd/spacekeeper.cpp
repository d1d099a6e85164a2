#include "spacekeeper.h"

#include <sys/statvfs.h>
#include <watchpost/event/wprotate.h>
#include <watchpost/foundation/utils.h>
#include <watchpost/foundation/wpdb.h>
#include <watchpost/foundation/wplog.h>

#include <algorithm>
#include <cstdlib>
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

// How many of the camera's recordings ended in the same second as the one that may go first.
int CountOldest(int camera_id) {
  const std::string mine =
      " FROM event WHERE camera_id=" + std::to_string(camera_id) + " AND archived=false";
  DBResult* result = nullptr;
  if (WPDBExecute("SELECT count(*)" + mine + " AND stop_time=(SELECT min(stop_time)" + mine + ")",
                  &result) != 0) {
    return 0;
  }
  auto row = static_cast<unsigned int>(-1);
  const char* text =
      ORVADBFetchRow(result, &row) == 0 ? ORVADBFetchField(result, row, "count") : nullptr;
  const int count = text == nullptr ? 0 : std::atoi(text);
  ORVADBFreeResult(result);
  return count;
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
  thread_ = std::thread([this] { Run(); });
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
  std::unique_lock lock(mutex_);
  stop_ = true;
  wake_.notify_one();
  if (!end_.wait_for(lock, limit, [this] { return ended_; })) return false;
  lock.unlock();
  thread_.join();
  return true;
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
  ended_ = true;
  end_.notify_all();
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
              (IsRotated(camera) ? "and it has no recording left to remove"
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
// rows of the last second whole, and no file is to stay without its row.
int SpaceKeeper::RemoveOldest(Camera& camera, std::uint64_t floor) {
  WPRotate rotate(&camera);
  int total = 0;
  while (!IsStopped() && FreeBytes(camera.GetStoragePath()) < floor) {
    int removed = 0;
    (void)rotate.RemoveFileBySizeWithUpperbound(
        kAnySize, CountOldest(camera.GetId()), removed);  // free space tells how far it got
    if (removed == 0) break;
    total += removed;
  }
  return total;
}

}  // namespace wpd
