#include "recovery.h"

#include <watchpost/event/eventfiles.h>
#include <watchpost/event/eventstore.h>
#include <watchpost/event/recordingfile.h>
#include <watchpost/event/recordingrepair.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "log.h"

namespace wpd {
namespace {

// A daemon leaves one file, two when it was killed between them; a clock that was set back puts
// others behind them.
constexpr std::size_t kMostFiles = 50;

// Names of recordings begin with their time: the last ones are the newest.
std::vector<std::string> NewestNames(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code failure;
  for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    std::string name = entry->path().filename();
    if (watchpost::IsRecordingName(name)) names.push_back(std::move(name));
  }
  std::sort(names.rbegin(), names.rend());
  if (names.size() > kMostFiles) names.resize(kMostFiles);
  return names;
}

void Finish(const Camera& camera, const std::string& name, RowWriter& rows) {
  const std::string path = watchpost::JoinRecordingPath(camera.GetStoragePath(), name);
  watchpost::AviContents contents;
  if (watchpost::InspectAvi(path.c_str(), contents) != watchpost::kAviUnfinished) return;
  Event event(camera.GetId(), 0, 0, EVENT_CAUSE_CONTINUOUS, name);
  (void)watchpost::FindEvent(camera.GetId(), name, event);  // without one it stays as it is
  const std::string title = "camera " + std::to_string(camera.GetId()) + ": " + name;
  if (contents.frames == 0) {
    Log("%s was begun before the daemon was killed, and holds no picture: removed", title.c_str());
    (void)RemoveEventFile(path.c_str());        // if it stays, the next start sees it
    if (event.IsSaved()) (void)event.Delete();  // what failed is in the log
    return;
  }
  if (watchpost::FinishRecording(path, camera.GetFPS(), event) != watchpost::kAviFinished) {
    return Log("%s was not finished before the daemon was killed, and cannot be: is the disk full?",
               title.c_str());
  }
  rows.PutRecovered(event, path);
  Log("%s was not finished before the daemon was killed; it is now, with %d pictures",
      title.c_str(),
      event.GetFrameCount());
}

}  // namespace

void FinishLeftovers(const Camera& camera, RowWriter& rows) {
  for (const std::string& name : NewestNames(camera.GetStoragePath())) Finish(camera, name, rows);
}

}  // namespace wpd
