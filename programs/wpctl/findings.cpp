#include "findings.h"

#include <unistd.h>
#include <watchpost/event/eventstore.h>
#include <watchpost/event/recordingfile.h>
#include <watchpost/event/recordingrepair.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

#include "foldermove.h"

namespace wpctl {
namespace {

namespace fs = std::filesystem;

using watchpost::StoreResult;
using Rows = std::map<std::string, Event>;  // by path

bool Agrees(const Event& event, const watchpost::AviContents& contents) {
  return event.GetFrameCount() == static_cast<int>(contents.frames) &&
         event.GetSize() == watchpost::RowSize(contents.bytes) &&
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
    case watchpost::kAviEmpty:
      finding.trouble = Trouble::kEmpty;
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

// All rows that name files in a camera's folder: earlier versions let cameras share one.
struct FolderRows {
  Rows kept;                 // the one row of each file
  std::set<int> duplicates;  // ids of the others
};

bool IsKeptBefore(const Event& a, const Event& b) {
  if (a.GetArchived() != b.GetArchived()) return a.GetArchived();
  return a.GetID() < b.GetID();
}

std::string FileName(const Event& event) {
  return fs::path(event.GetPath()).lexically_normal();
}

void Add(const std::vector<Event>& events, FolderRows& rows) {
  for (const Event& event : events) {
    const auto [found, is_new] = rows.kept.emplace(FileName(event), event);
    if (is_new) continue;
    const bool better = IsKeptBefore(event, found->second);
    rows.duplicates.insert((better ? found->second : event).GetID());
    if (better) found->second = event;
  }
}

std::vector<Camera> SharingFolder(const Camera& camera, const std::list<Camera>& cameras) {
  std::vector<Camera> sharing;
  for (const Camera& other : cameras) {
    if (other.GetStoragePath() == camera.GetStoragePath()) sharing.push_back(other);
  }
  return sharing;
}

// What is wrong about the camera's own rows; those of files that are there are left to CheckFiles.
void CheckRows(const Camera& camera,
               const std::vector<Event>& own,
               const FolderRows& rows,
               CameraFindings& result) {
  for (const Event& event : own) {
    ++result.rows;
    const std::optional<std::string> path = watchpost::RecordingPath(camera, event);
    std::error_code failure;
    if (!path)
      result.findings.push_back({Trouble::kOutside, event.GetPath(), event, {}});
    else if (!fs::exists(*path, failure) && !failure)
      result.findings.push_back({Trouble::kNoFile, *path, event, {}});
    else if (rows.duplicates.contains(event.GetID()))
      result.findings.push_back({Trouble::kDuplicate, *path, event, {}});
  }
}

// `is_first` of the cameras that share the folder answers for files without a row.
void CheckFiles(const Camera& camera,
                const FolderRows& rows,
                bool is_first,
                CameraFindings& result) {
  std::error_code failure;
  for (fs::directory_iterator entry(camera.GetStoragePath(), failure), end;
       !failure && entry != end;
       entry.increment(failure)) {
    const std::string name = entry->path().filename();
    if (!watchpost::IsRecordingName(name)) continue;
    const auto row = rows.kept.find(name);
    std::optional<Event> event;
    if (row != rows.kept.end()) event = row->second;
    if (event ? event->GetCameraID() != camera.GetId() : !is_first) continue;
    ++result.files;
    if (auto finding = CheckFile(entry->path(), std::move(event)))
      result.findings.push_back(std::move(*finding));
  }
}

bool IsSame(const Event& a, const Event& b) {
  return a.GetID() == b.GetID() && a.GetFrameCount() == b.GetFrameCount() &&
         a.GetSize() == b.GetSize() && a.GetStartTime() == b.GetStartTime() &&
         a.GetStopTime() == b.GetStopTime();
}

bool IsSame(const Finding& a, const Finding& b) {
  if (a.trouble != b.trouble || a.path != b.path || a.event.has_value() != b.event.has_value())
    return false;
  return a.contents.frames == b.contents.frames && a.contents.bytes == b.contents.bytes &&
         (!a.event || IsSame(*a.event, *b.event));
}

RepairResult ResultOf(StoreResult result) {
  if (result == StoreResult::kNoRow || result == StoreResult::kFound) return RepairResult::kChanged;
  return result == StoreResult::kDone ? RepairResult::kDone : RepairResult::kFailed;
}

RepairResult StoreRow(const Finding& finding, Event& event) {
  return ResultOf(finding.event ? watchpost::UpdateIfUnchanged(*finding.event, event)
                                : watchpost::InsertEvent(event));
}

}  // namespace

int CameraFindings::Changes() const {
  return static_cast<int>(std::count_if(
      findings.begin(), findings.end(), [](const Finding& f) { return f.IsRepairable(); }));
}

CameraFindings CheckCamera(const Camera& camera, const std::list<Camera>& cameras) {
  CameraFindings result;
  result.camera = camera;
  result.folder = watchpost::ExamineCameraFolder(camera);
  if (!result.HasFolder() || HasUnfinishedMove(camera, result.move)) return result;
  const std::vector<Camera> sharing = SharingFolder(camera, cameras);
  FolderRows rows;
  std::vector<Event> own;
  for (const Camera& other : sharing) {
    const auto events = watchpost::ReadEvents(other.GetId());
    result.has_rows = events.has_value();
    if (!events) return result;
    Add(*events, rows);
    if (other.GetId() == camera.GetId()) own = *events;
  }
  CheckRows(camera, own, rows, result);
  CheckFiles(camera, rows, sharing.front().GetId() == camera.GetId(), result);
  return result;
}

void KeepConfirmed(CameraFindings& first, const CameraFindings& second) {
  std::erase_if(first.findings, [&](const Finding& finding) {
    return std::none_of(second.findings.begin(), second.findings.end(), [&](const Finding& again) {
      return IsSame(finding, again);
    });
  });
  first.rows = second.rows;
  first.files = second.files;
  first.folder = second.folder;
  first.move = second.move;
  first.has_rows = second.has_rows;
}

std::string Describe(const Finding& finding) {
  const std::string contents = std::to_string(finding.contents.frames) + " frames, " +
                               std::to_string(finding.contents.bytes) + " bytes";
  switch (finding.trouble) {
    case Trouble::kNoFile:
      return finding.path + ": its row is there, the file is not";
    case Trouble::kDuplicate:
      return finding.path + ": has another row than " + std::to_string(finding.event->GetID()) +
             ", which would go";
    case Trouble::kNoRow:
      return finding.path + ": has no row (" + contents + ")";
    case Trouble::kUnfinished:
      return finding.path + ": was never finished (" + contents + ")";
    case Trouble::kDiffers:
      return finding.path + ": has " + contents + "; its row says " +
             std::to_string(finding.event->GetFrameCount()) + ", " +
             std::to_string(finding.event->GetSize());
    case Trouble::kEmpty:
      return finding.path + ": was begun, and holds no frame: it is empty, or zeroed";
    case Trouble::kForeign:
      return finding.path + ": is no recording of wpd's, or cannot be read";
    case Trouble::kOutside:
      return finding.path + ": row " + std::to_string(finding.event->GetID()) +
             " names a file outside the camera's folder";
  }
  return finding.path;
}

RepairResult Repair(const Camera& camera, const Finding& finding) {
  // The disk may just have gone, or come.
  const bool is_there = access(finding.path.c_str(), F_OK) == 0;
  if (watchpost::ExamineCameraFolder(camera) == watchpost::FolderState::kMissing ||
      is_there == (finding.trouble == Trouble::kNoFile))
    return RepairResult::kChanged;
  if (finding.trouble == Trouble::kNoFile || finding.trouble == Trouble::kDuplicate)
    return ResultOf(watchpost::RemoveIfUnchanged(*finding.event));
  const std::string name = fs::path(finding.path).filename();
  Event event = finding.event.value_or(Event(camera.GetId(), 0, 0, EVENT_CAUSE_CONTINUOUS, name));
  if (finding.trouble == Trouble::kUnfinished) {
    const auto state = watchpost::FinishRecording(finding.path, camera.GetFPS(), event);
    // Its daemon may have been started, and be at it.
    if (state == watchpost::kAviBusy || state == watchpost::kAviUnreadable)
      return state == watchpost::kAviBusy ? RepairResult::kChanged : RepairResult::kFailed;
    return state == watchpost::kAviFinished ? StoreRow(finding, event) : RepairResult::kFailed;
  }
  watchpost::AviContents contents;
  if (watchpost::InspectAvi(finding.path.c_str(), contents) != watchpost::kAviFinished)
    return RepairResult::kChanged;
  const bool ended_then = finding.trouble == Trouble::kNoRow;
  watchpost::DescribeRecording(finding.path, contents, ended_then, event);
  return StoreRow(finding, event);
}

}  // namespace wpctl
