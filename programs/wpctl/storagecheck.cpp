#include "storagecheck.h"

#include <watchpost/event/recordingfile.h>
#include <watchpost/event/recordingrepair.h>
#include <watchpost/event/eventutils.h>
#include <watchpost/base/utils.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>


namespace wpctl {
namespace {

using Rows = std::map<std::string, Event>;  // by path

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
      finding.trouble = finding.contents.frames == 0 ? Trouble::kEmpty : Trouble::kUnfinished;
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
    const std::optional<std::string> path = watchpost::RecordingPath(camera, event);
    std::error_code failure;
    if (!path)
      result.findings.push_back({Trouble::kOutside, event.GetPath(), event, {}});
    else if (!std::filesystem::exists(*path, failure) && !failure)
      result.findings.push_back({Trouble::kNoFile, *path, event, {}});
    else
      rows.emplace(event.GetPath(), event);
  }
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
    if (!watchpost::IsRecordingName(entry->path().filename())) continue;
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
    case Trouble::kEmpty:
      return finding.path + ": was begun, and holds no picture";
    case Trouble::kForeign:
      return finding.path + ": is no recording of wpd's, or cannot be read";
    case Trouble::kOutside:
      return finding.path + ": row " + std::to_string(finding.event->GetID()) +
             " names a file outside the camera's folder";
  }
  return finding.path;
}

bool Repair(const Camera& camera, const Finding& finding) {
  if (finding.trouble > Trouble::kDiffers) return false;
  const std::string name = std::filesystem::path(finding.path).filename();
  Event event = finding.event.value_or(Event(camera.GetId(), 0, 0, EVENT_CAUSE_CONTINUOUS, name));
  if (finding.trouble == Trouble::kNoFile) return event.Delete() == 0;
  if (finding.trouble == Trouble::kUnfinished) {
    const auto state = watchpost::FinishRecording(finding.path, camera.GetFPS(), event);
    return state == watchpost::kAviFinished && event.Save() == 0;
  }
  const bool ended_then = finding.trouble == Trouble::kNoRow;
  watchpost::DescribeRecording(finding.path, finding.contents, ended_then, event);
  return event.Save() == 0;
}

}  // namespace wpctl
