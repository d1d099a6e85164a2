#include "folderwatch.h"

#include <watchpost/event/camerafolder.h>

#include <utility>

#include "recovery.h"

namespace wpd {
namespace {

using watchpost::FolderState;

constexpr std::chrono::seconds kBetweenChecks{1};
constexpr std::chrono::seconds kBetweenRepairs{5};

}  // namespace

FolderWatch::FolderWatch(SharedRecord& record, RowWriter& rows)
    : record_(record),
      rows_(rows),
      trouble_("camera " + std::to_string(record.Get()->camera.GetId()) +
               ": all recordings are finished now") {}

void FolderWatch::Repair() {
  unfinished_ = true;
  thread_.Wake();
}

void FolderWatch::Start() {
  Check();
  thread_.Start();
}

void FolderWatch::Check() {
  const auto record = record_.Get();
  const Camera& camera = record->camera;
  FolderState state = watchpost::ExamineCameraFolder(camera);
  if (state == FolderState::kUnknown) {
    NoteUnfinished(camera);
    std::string error;
    if (watchpost::ClaimCameraFolder(camera, error)) state = FolderState::kReady;
  }
  ready_ = state == FolderState::kReady;
}

// All that have a note, or those only that were locked the last time. False when one could not be
// finished.
bool FolderWatch::FinishLeftovers(const Camera& camera, bool all) {
  bool good = true;
  std::set<std::string> locked;
  for (const std::string& name :
       watchpost::NotedRecordings(camera.GetStoragePath(), camera.GetId())) {
    if (!all && !busy_.contains(name)) continue;
    const Leftover leftover = FinishLeftover(camera, name, rows_, beginning_);
    if (leftover == Leftover::kBusy) locked.insert(name);
    good = good && leftover != Leftover::kFailed;
  }
  busy_ = std::move(locked);
  if (good) trouble_.End();
  return good;
}

std::optional<WorkerThread::Clock::duration> FolderWatch::DoWork() {
  Check();
  if (!ready_) {
    finished_in_.clear();
    return kBetweenChecks;
  }
  const auto record = record_.Get();
  const std::string folder = record->camera.GetStoragePath();
  const bool all = unfinished_.exchange(false) || folder != finished_in_;
  finished_in_ = folder;
  if ((!all && busy_.empty()) || FinishLeftovers(record->camera, all)) return kBetweenChecks;
  unfinished_ = true;
  trouble_.Begin(Title(record->camera) +
                 ": a recording that was not finished cannot be: is the disk full?");
  return kBetweenRepairs;
}

}  // namespace wpd
