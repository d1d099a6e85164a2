#include "recovery.h"

#include <watchpost/event/camerafolder.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/event/eventstore.h>
#include <watchpost/event/recordingfile.h>
#include <watchpost/event/recordingrepair.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "log.h"

namespace wpd {
namespace {

using watchpost::StoreResult;

// What the database knows of the recording; a fresh row without it.
Event RowOf(const Camera& camera, const std::string& name) {
  Event row(camera.GetId(), 0, 0, EVENT_CAUSE_CONTINUOUS, name);
  Event found;
  if (watchpost::FindEvent(camera.GetId(), name, found) == StoreResult::kDone) row = found;
  return row;
}

void Discard(const Camera& camera, const std::string& name, const std::string& path) {
  Log("camera %d: %s was begun before the daemon was killed, and holds no picture: removed",
      camera.GetId(),
      name.c_str());
  if (RemoveEventFile(path.c_str()) != 0) return;  // the next start finds its note again
  const Event row = RowOf(camera, name);
  if (row.IsSaved()) (void)watchpost::RemoveRows({row});  // else storage check finds it
  watchpost::ForgetRecording(camera.GetStoragePath(), camera.GetId(), name);
}

bool IsEmpty(watchpost::AviState state, const watchpost::AviContents& contents) {
  return state == watchpost::kAviEmpty ||
         (state == watchpost::kAviUnfinished && contents.frames == 0);
}

}  // namespace

Leftover FinishLeftover(const Camera& camera,
                        const std::string& name,
                        RowWriter& rows,
                        watchpost::Mutex& beginning) {
  const std::string path = watchpost::JoinRecordingPath(camera.GetStoragePath(), name);
  watchpost::AviContents contents;
  watchpost::AviState state = watchpost::InspectAvi(path.c_str(), contents);
  if (IsEmpty(state, contents)) {
    const watchpost::MutexLock lock(beginning);
    state = watchpost::InspectAvi(path.c_str(), contents);
    if (IsEmpty(state, contents)) {
      Discard(camera, name, path);
      return Leftover::kFinished;
    }
  }
  if (state == watchpost::kAviBusy) return Leftover::kBusy;
  Event row = RowOf(camera, name);
  if (state == watchpost::kAviFinished) {
    // Its row may not say so: the database was away, or the daemon died between the two.
    const bool differs = row.GetFrameCount() != static_cast<int>(contents.frames);
    watchpost::DescribeRecording(path, contents, differs, row);
    rows.PutRecovered(row, path);
    return Leftover::kFinished;
  }
  if (state != watchpost::kAviUnfinished) return Leftover::kFinished;  // not ours
  state = watchpost::FinishRecording(path, camera.GetFPS(), row);
  if (state == watchpost::kAviBusy) return Leftover::kBusy;
  if (state != watchpost::kAviFinished) return Leftover::kFailed;
  rows.PutRecovered(row, path);
  Log("camera %d: %s was not finished; it is now, with %d frames",
      camera.GetId(),
      name.c_str(),
      row.GetFrameCount());
  return Leftover::kFinished;
}

void NoteUnfinished(const Camera& camera) {
  const std::string folder = camera.GetStoragePath();
  std::string error;
  if (!watchpost::ClaimCameraFolder(camera, error)) return;
  std::error_code failure;
  for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const std::string name = entry->path().filename();
    watchpost::AviContents contents;
    if (!watchpost::IsRecordingName(name)) continue;
    const watchpost::AviState state = watchpost::InspectAvi(entry->path().c_str(), contents);
    if (state != watchpost::kAviUnfinished && state != watchpost::kAviEmpty) continue;
    // Two cameras may have shared the folder.
    Event row;
    if (watchpost::FindRowOfFile(folder, name, row) == StoreResult::kDone &&
        row.GetCameraID() != camera.GetId())
      continue;
    (void)watchpost::NoteRecording(folder, camera.GetId(), name);  // there may be one
  }
}

}  // namespace wpd
