#include "storagecheck.h"

#include <sys/stat.h>
#include <watchpost/event/eventlookup.h>
#include <watchpost/event/eventutils.h>
#include <watchpost/foundation/utils.h>
#include <watchpost/motion/mdlog.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <system_error>

#include "events.h"

namespace wpctl {
namespace {

using Rows = std::map<std::string, Event>;  // by path

long WrittenAt(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mtime : 0;
}

bool Agrees(const Event& event, const watchpost::AviContents& contents) {
  return event.GetFrameCount() == static_cast<int>(contents.frames) &&
         event.GetSize() == static_cast<int>(std::min<std::uint64_t>(contents.bytes, INT32_MAX)) &&
         event.GetStopTime() >= event.GetStartTime();
}

// What is wrong about one file; nothing when all is well, or when it is being written.
std::optional<Finding> CheckFile(const std::string& path, std::optional<Event> event) {
  Finding finding{Trouble::kForeign, path, std::move(event), {}};
  switch (watchpost::InspectAvi(path.c_str(), finding.contents)) {
    case watchpost::kAviBusy:
      return std::nullopt;
    case watchpost::kAviForeign:
    case watchpost::kAviUnreadable:
      return finding;
    case watchpost::kAviUnfinished:
      finding.trouble = finding.contents.frames == 0 ? Trouble::kHollow : Trouble::kUnfinished;
      return finding;
    case watchpost::kAviFinished:
      break;
  }
  if (finding.event && Agrees(*finding.event, finding.contents)) return std::nullopt;
  finding.trouble = finding.event ? Trouble::kDiffers : Trouble::kNoRow;
  return finding;
}

void CheckRows(const Camera& camera, CameraFindings& result, Rows& rows) {
  const int count = GetEventCount(camera.GetId(), 0, 0, EVENT_CAUSE_ANY);
  for (const Event& event : GetEvents(0, count, camera.GetId(), 0, 0, EVENT_CAUSE_ANY)) {
    ++result.rows;
    const std::optional<std::string> path = FileOf(camera, event);
    std::error_code failure;
    if (!path)
      result.findings.push_back({Trouble::kOutside, event.GetPath(), event, {}});
    else if (!std::filesystem::exists(*path, failure) && !failure)
      result.findings.push_back({Trouble::kNoFile, *path, event, {}});
    else
      rows.emplace(event.GetPath(), event);
  }
}

// The row as the file has it.
void Fill(Event& event, const Finding& finding) {
  const std::string name = std::filesystem::path(finding.path).filename();
  const long written = WrittenAt(finding.path);
  if (!finding.event) event.SetStartTime(watchpost::StartOfRecording(name).value_or(written));
  if (finding.trouble != Trouble::kDiffers || event.GetStopTime() < event.GetStartTime())
    event.SetEndTime(std::max(event.GetStartTime(), written));
  event.SetFrameCount(static_cast<int>(finding.contents.frames));
  event.SetVideoWidth(finding.contents.width);
  event.SetVideoHeight(finding.contents.height);
  event.SetSize(static_cast<int>(std::min<std::uint64_t>(finding.contents.bytes, INT32_MAX)));
}

// The rate at which a recording was made, from its row or its name.
std::uint16_t RateOf(const Event& event, std::uint32_t frames, int usual) {
  const auto seconds = static_cast<double>(event.GetStopTime() - event.GetStartTime());
  const double rate = seconds > 0 ? (frames - 1) / seconds : usual;
  return static_cast<std::uint16_t>(std::clamp(std::lround(rate), 1L, 65535L));
}

}  // namespace

int CameraFindings::Changes() const {
  return static_cast<int>(
      std::count_if(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.trouble <= Trouble::kDiffers;
      }));
}

CameraFindings CheckCamera(const Camera& camera) {
  CameraFindings result;
  result.camera = camera;
  std::error_code failure;
  result.has_folder = std::filesystem::is_directory(camera.GetStoragePath(), failure);
  if (!result.has_folder) return result;
  Rows rows;
  CheckRows(camera, result, rows);
  for (std::filesystem::directory_iterator entry(camera.GetStoragePath(), failure), end;
       !failure && entry != end;
       entry.increment(failure)) {
    if (entry->path().extension() != ".avi") continue;
    ++result.files;
    const auto row = rows.find(entry->path().filename());
    std::optional<Event> event;
    if (row != rows.end()) event = row->second;
    if (auto finding = CheckFile(entry->path(), std::move(event)))
      result.findings.push_back(std::move(*finding));
  }
  return result;
}

std::string Describe(const Finding& finding) {
  const std::string pictures = std::to_string(finding.contents.frames) + " pictures, " +
                               std::to_string(finding.contents.bytes) + " bytes";
  switch (finding.trouble) {
    case Trouble::kNoFile:
      return finding.path + ": its row is there, the file is not";
    case Trouble::kNoRow:
      return finding.path + ": has no row (" + pictures + ")";
    case Trouble::kUnfinished:
      return finding.path + ": was never finished (" + pictures + ")";
    case Trouble::kDiffers:
      return finding.path + ": has " + pictures + "; its row says " +
             std::to_string(finding.event->GetFrameCount()) + ", " +
             std::to_string(finding.event->GetSize());
    case Trouble::kHollow:
      return finding.path + ": was begun, and holds no picture";
    case Trouble::kForeign:
      return finding.path + ": is no recording of wpd's, or cannot be read";
    case Trouble::kOutside:
      return finding.path + ": row " + std::to_string(finding.event->GetID()) +
             " names a file outside the camera's folder";
  }
  return finding.path;
}

bool Mend(const Camera& camera, const Finding& finding) {
  if (finding.trouble > Trouble::kDiffers) return false;
  const std::string name = std::filesystem::path(finding.path).filename();
  Event event = finding.event.value_or(Event(camera.GetId(), 0, 0, EVENT_CAUSE_CONTINUOUS, name));
  if (finding.trouble == Trouble::kNoFile) return event.Delete() == 0;
  Finding mended = finding;
  Fill(event, mended);
  if (finding.trouble == Trouble::kUnfinished) {
    const std::uint16_t fps = RateOf(event, finding.contents.frames, camera.GetFPS());
    if (watchpost::RepairAvi(finding.path.c_str(), fps, mended.contents) != watchpost::kAviFinished)
      return false;
    (void)RepairMotionLog(finding.path,
                          static_cast<int>(mended.contents.frames));  // there may be none
    const long stop = event.GetStopTime();  // repairing has touched the file
    Fill(event, mended);
    event.SetEndTime(stop);
  }
  return event.Save() == 0;
}

}  // namespace wpctl
