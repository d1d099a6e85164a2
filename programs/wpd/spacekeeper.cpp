#include "spacekeeper.h"

#include <sys/statvfs.h>
#include <watchpost/base/utils.h>
#include <watchpost/event/removal.h>
#include <watchpost/event/wplog.h>

#include <algorithm>
#include <utility>

#include "rotation.h"

namespace wpd {
namespace {

constexpr std::chrono::seconds kBetweenChecks{5};
// Files may end many times a second, and each check asks the database.
constexpr std::chrono::milliseconds kLeastPause{250};
constexpr std::chrono::minutes kBetweenEntries{1};
// A small disk would hold nothing but its free space.
constexpr std::uint64_t kLargestShare = 10;

}  // namespace

std::uint64_t FreeBytes(const std::string& folder) {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return UINT64_MAX;
  return static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
}

std::uint64_t WantedBytes(const std::string& folder, std::uint64_t wanted) {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return 0;
  const std::uint64_t size = static_cast<std::uint64_t>(status.f_blocks) * status.f_frsize;
  return std::min(wanted, size / kLargestShare);
}

SpaceKeeper::SpaceKeeper(const watchpost::DaemonSettings& settings,
                         SharedRecord& record,
                         Mailer& mailer)
    : wanted_(settings.floor_bytes),
      reserve_(settings.reserve_bytes),
      record_(record),
      mailer_(mailer),
      full_("camera " + std::to_string(record.Get()->camera.GetId()) + ": the disk has room again",
            settings.mail_steady),
      full_mail_(settings.mail_steady) {}

void SpaceKeeper::OnFull() {
  full_now_ = true;
  thread_.Wake();
}

std::optional<WorkerThread::Clock::duration> SpaceKeeper::DoWork() {
  const auto now = WorkerThread::Clock::now();
  if (!full_now_ && now < next_check_) return next_check_ - now;
  next_check_ = now + kLeastPause;
  const auto record = record_.Get();
  const Camera& camera = record->camera;
  const std::string folder = camera.GetStoragePath();
  const std::uint64_t floor = WantedBytes(folder, wanted_);
  const std::uint64_t reserve = WantedBytes(folder, reserve_);
  const bool limited = IsRotated(camera);
  const std::uint64_t written = written_.exchange(0);
  credit_ += static_cast<std::int64_t>(written);
  // Without room for its next file it may remove in advance what it needs to begin again.
  if (written > 0) advanced_ = false;
  if (full_now_.exchange(false) && !std::exchange(advanced_, true))
    credit_ = std::max(credit_, static_cast<std::int64_t>(reserve));
  if (FreeBytes(folder) >= floor) credit_ = std::min<std::int64_t>(credit_, 0);
  if (limited) RemoveOldest(camera, floor);
  if (now >= next_entry_) LogRemoved();
  const std::uint64_t free = FreeBytes(folder);
  if (limited || free >= floor + reserve) held_back_ = false;
  if (!limited && free < floor) held_back_ = true;
  if (free < floor) {
    ReportFull(camera);
  } else {
    full_.End();
    (void)full_mail_.End();  // there is no mail for it
  }
  return kBetweenChecks;
}

// One recording may be larger than what was written: the rest is owed.
void SpaceKeeper::RemoveOldest(const Camera& camera, std::uint64_t floor) {
  while (!thread_.IsStopping() && credit_ > 0) {
    const std::uint64_t free = FreeBytes(camera.GetStoragePath());
    if (free >= floor) return;
    const watchpost::RemovedFiles removed = watchpost::RemoveOldestFiles(
        camera, std::min(floor - free, static_cast<std::uint64_t>(credit_)));
    if (removed.count == 0) return;
    credit_ -= static_cast<std::int64_t>(removed.bytes);
    removed_ += removed.count;
  }
}

// A camera that makes room for itself needs no mail while it can.
void SpaceKeeper::ReportFull(const Camera& camera) {
  if (IsRotated(camera) &&
      FreeBytes(camera.GetStoragePath()) >= WantedBytes(camera.GetStoragePath(), reserve_))
    return;
  full_.Begin(Title(camera) + ": its disk is nearly full, " +
              (IsRotated(camera)
                   ? "and it has no recording left that can be removed for what it records"
                   : "and it has no limit that would let old recordings go: it stops recording"));
  // One that is held back has its mail when it would record.
  if (IsRotated(camera) && full_mail_.Begin()) mailer_.Post(WP_MAIL_RECORDING_FAILED, camera);
}

// In the appliance's event log, once a minute at most.
void SpaceKeeper::LogRemoved() {
  if (removed_ == 0) return;
  const std::string count = itos(std::exchange(removed_, 0));
  const std::string name = record_.Get()->camera.GetName();
  (void)WPLog(WP_LOG_REMOVED_FOR_ROOM, name.c_str(), count.c_str(), "", "");  // always 0
  next_entry_ = WorkerThread::Clock::now() + kBetweenEntries;
}

}  // namespace wpd
