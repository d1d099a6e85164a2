#include "recovery.h"

#include <sys/stat.h>
#include <watchpost/event/event.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/event/eventlookup.h>
#include <watchpost/media/avirepair.h>
#include <watchpost/motion/mdlog.h>

#include <algorithm>
#include <cmath>
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
    if (entry->path().extension() == ".avi") names.push_back(entry->path().filename());
  }
  std::sort(names.rbegin(), names.rend());
  if (names.size() > kMostFiles) names.resize(kMostFiles);
  return names;
}

RecordingRow RowOf(const CameraRecord& record, const std::string& name, long written) {
  RecordingRow row;
  row.camera_id = record.camera.GetId();
  row.path = name;
  row.file = record.camera.GetStoragePath() + "/" + name;
  row.cause = EVENT_CAUSE_CONTINUOUS;
  row.start = written;
  row.stop = written;
  row.finished = true;
  return row;
}

void Finish(const CameraRecord& record, const std::string& name, RowWriter& rows) {
  const std::string path = record.camera.GetStoragePath() + "/" + name;
  watchpost::AviContents contents;
  struct stat status {};
  if (watchpost::InspectAvi(path.c_str(), contents) != watchpost::kAviUnfinished) return;
  if (stat(path.c_str(), &status) != 0) return;
  Event event = watchpost::FindEvent(record.camera.GetId(), name);
  const std::string title = "camera " + std::to_string(record.camera.GetId()) + ": " + name;
  if (contents.frames == 0) {
    Log("%s was begun before the daemon was killed, and holds no picture: removed", title.c_str());
    (void)RemoveEventFile(path.c_str());        // if it stays, the next start sees it
    if (event.IsSaved()) (void)event.Delete();  // what failed is in the log
    return;
  }
  RecordingRow row = RowOf(record, name, status.st_mtime);
  row.start = watchpost::StartOfRecording(name).value_or(row.start);
  if (event.IsSaved()) {
    row.start = event.GetStartTime();
    row.cause = event.GetCause();
  }
  row.stop = std::max<long>(row.start, status.st_mtime);
  const auto seconds = static_cast<double>(row.stop - row.start);
  const double rate = seconds > 0 ? (contents.frames - 1) / seconds : record.camera.GetFPS();
  const auto fps = static_cast<std::uint16_t>(std::clamp(std::lround(rate), 1L, 65535L));
  if (watchpost::RepairAvi(path.c_str(), fps, contents) != watchpost::kAviFinished) {
    return Log("%s was not finished before the daemon was killed, and cannot be: is the disk full?",
               title.c_str());
  }
  row.width = contents.width;
  row.height = contents.height;
  row.frames = static_cast<int>(contents.frames);
  row.size = static_cast<int>(std::min<std::uint64_t>(contents.bytes, INT32_MAX));
  (void)RepairMotionLog(path, row.frames);  // there may be none
  rows.PutRecovered(row);
  Log("%s was not finished before the daemon was killed; it is now, with %d pictures",
      title.c_str(),
      row.frames);
}

}  // namespace

void FinishLeftovers(const CameraRecord& record, RowWriter& rows) {
  for (const std::string& name : NewestNames(record.camera.GetStoragePath()))
    Finish(record, name, rows);
}

}  // namespace wpd
