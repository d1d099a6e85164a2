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
constexpr std::chrono::minutes kBetweenEntries{1};
// A small disk would hold nothing but its free space.
constexpr std::uint64_t kLargestShare = 10;

// The free space that is wanted on the disk of a folder.
std::uint64_t FloorOf(const std::string& folder, std::uint64_t wanted) {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return 0;
  const std::uint64_t size = static_cast<std::uint64_t>(status.f_blocks) * status.f_frsize;
  return std::min(wanted, size / kLargestShare);
}

}  // namespace

std::uint64_t FreeBytes(const std::string& folder) {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return UINT64_MAX;
  return static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
}

SpaceKeeper::SpaceKeeper(std::uint64_t floor_bytes,
                         std::chrono::seconds steady,
                         SharedRecord& record,
                         Mailer& mailer)
    : wanted_(floor_bytes),
      record_(record),
      mailer_(mailer),
      full_("camera " + std::to_string(record.Get()->camera.GetId()) + ": the disk has room again",
            steady),
      full_mail_(steady) {}

std::optional<WorkerThread::Clock::duration> SpaceKeeper::DoWork() {
  const auto record = record_.Get();
  const Camera& camera = record->camera;
  const std::string folder = camera.GetStoragePath();
  const std::uint64_t floor = FloorOf(folder, wanted_);
  if (IsRotated(camera)) RemoveOldest(camera, floor);
  if (WorkerThread::Clock::now() >= next_entry_) LogRemoved();
  if (FreeBytes(folder) < floor) {
    ReportFull(camera);
  } else {
    full_.End();
    (void)full_mail_.End();  // there is no mail for it
  }
  return kBetweenChecks;
}

void SpaceKeeper::RemoveOldest(const Camera& camera, std::uint64_t floor) {
  while (!thread_.IsStopping() && FreeBytes(camera.GetStoragePath()) < floor) {
    const int removed = watchpost::RemoveOldestSecond(camera);
    if (removed == 0) return;
    removed_ += removed;
  }
}

void SpaceKeeper::ReportFull(const Camera& camera) {
  full_.Begin(Title(camera) + ": its disk is nearly full, " +
              (IsRotated(camera) ? "and it has no recording left that can be removed"
                                 : "and it has no limit that would let old recordings go"));
  if (full_mail_.Begin()) mailer_.Post(WP_MAIL_RECORDING_FAILED, camera);
}

// In the appliance's event log, once a minute at most.
void SpaceKeeper::LogRemoved() {
  if (removed_ == 0) return;
  const std::string count = itos(std::exchange(removed_, 0));
  const std::string name = record_.Get()->camera.GetName();
  (void)WPLog(WP_LOG_ROTATED_BY_SIZE, name.c_str(), count.c_str(), "", "");  // always 0
  next_entry_ = WorkerThread::Clock::now() + kBetweenEntries;
}

}  // namespace wpd
