// Finishing recordings whose writer died: index and header are made again from the frames that are
// there.
#pragma once

#include <cstdint>

#include "base/export.h"

namespace watchpost {

enum AviState : int {
  kAviFinished,    ///< header and index agree with the frames
  kAviUnfinished,  ///< begun by our writer, and not finished, or cut since
  kAviBusy,        ///< a writer holds its lock
  kAviEmpty,       ///< no bytes, or a header of zeros: begun before a power cut
  kAviForeign,     ///< no file of our writer's
  kAviUnreadable,  ///< cannot be opened or read
};

/// What stands in a recording.
struct AviContents {
  std::uint32_t frames = 0;
  std::uint64_t bytes = 0;  ///< of the file
  std::uint16_t width = 0;  ///< pixels, of the first frame
  std::uint16_t height = 0;
};

/// Inspects the recording at `path`. `contents` receives what a finished one says, or what the
/// whole frames of an unfinished one come to. Reads the headers of all frames of an unfinished
/// file, 8 bytes each.
WATCHPOST_API AviState InspectAvi(const char* path, AviContents& contents) noexcept;

/// Finishes an unfinished recording: cuts a last frame that is not whole, writes index and header
/// with `fps` frames a second (1 to 65535), and syncs the file. Changes nothing about any other.
/// Returns kAviFinished when the file is finished now; `contents` then says what is in it. A
/// failing write leaves an unfinished file, to be repaired again.
WATCHPOST_API AviState RepairAvi(const char* path,
                                 std::uint16_t fps,
                                 AviContents& contents) noexcept;

}  // namespace watchpost
