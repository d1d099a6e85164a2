#include "event/recordingrepair.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>

#include "event/recordingfile.h"
#include "motion/mdlog.h"

namespace watchpost {
namespace {

// Seconds since the epoch of a file's last change; 0 without the file.
long ChangedAt(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mtime : 0;
}

void FillContents(const AviContents& contents, Event& event) {
  event.SetFrameCount(static_cast<int>(contents.frames));
  event.SetVideoWidth(contents.width);
  event.SetVideoHeight(contents.height);
  event.SetSize(RowSize(contents.bytes));
}

}  // namespace

void DescribeRecording(const std::string& path,
                       const AviContents& contents,
                       bool ended_then,
                       Event& event) noexcept {
  const long changed = ChangedAt(path);
  if (!event.IsSaved()) event.SetStartTime(StartOfRecording(event.GetPath()).value_or(changed));
  if (ended_then || event.GetStopTime() < event.GetStartTime())
    event.SetEndTime(std::max(event.GetStartTime(), changed));
  FillContents(contents, event);
}

AviState FinishRecording(const std::string& path, int usual_rate, Event& event) noexcept {
  AviContents contents;
  const AviState state = InspectAvi(path.c_str(), contents);
  if (state != kAviUnfinished || contents.frames == 0) return state;
  DescribeRecording(path, contents, true, event);
  const auto seconds = static_cast<double>(event.GetStopTime() - event.GetStartTime());
  const AviState repaired =
      RepairAvi(path.c_str(), FrameRate(event.GetFrameCount(), seconds, usual_rate), contents);
  if (repaired != kAviFinished) return repaired;
  (void)RepairMotionLog(path, static_cast<int>(contents.frames));  // there may be none
  FillContents(contents, event);  // not the times: the repair has changed the file
  return repaired;
}

}  // namespace watchpost
