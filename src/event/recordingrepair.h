// Finishing recordings whose writer died, and what a row should say of a file. Whoever finds an
// unfinished recording goes through here. Thread-safe; nothing is logged, and no row is written.
#pragma once

#include <string>

#include "base/export.h"
#include "event/event.h"
#include "media/avirepair.h"

namespace watchpost {

/// Fills in what the file at `path` says of a recording: frames, size and picture size from
/// `contents`; the start, unless the event is stored, from the file's name or else its last change;
/// the stop from its last change when `ended_then`, or when it would lie before the start.
WATCHPOST_API void DescribeRecording(const std::string& path,
                                     const AviContents& contents,
                                     bool ended_then,
                                     Event& event) noexcept;

/// Finishes the unfinished recording at `path`: index and header from its frames, with the rate
/// that its times come to or else `usual_rate`, and the motion log's count. `event` is its row, or
/// a fresh one with camera, cause and name; on kAviFinished it says what the file holds. Any other
/// state: nothing was changed, or it can be tried again; see RepairAvi.
WATCHPOST_API AviState FinishRecording(const std::string& path,
                                       int usual_rate,
                                       Event& event) noexcept;

}  // namespace watchpost
