// Finishing what a daemon that was killed left.
#pragma once

#include <watchpost/base/mutex.h>
#include <watchpost/camera/camera.h>

#include <string>

#include "rowwriter.h"

namespace wpd {

enum class Leftover {
  kFinished,  ///< or gone, or none of ours
  kBusy,      ///< somebody holds its lock: its writer, or who looks at it for a moment
  kFailed,    ///< as on a full disk: to be tried again
};

/// Finishes one of the camera's recordings that have a note (event/camerafolder.h): index and
/// header are made from the frames that are there, the motion log gets its count, the row its true
/// end, frames and size, through `rows`. A file without a single whole frame goes, with its row,
/// under `beginning`, which whoever begins a recording holds until the file is locked.
Leftover FinishLeftover(const Camera& camera,
                        const std::string& name,
                        RowWriter& rows,
                        watchpost::Mutex& beginning);

/// Makes notes of the unfinished recordings in a folder that has none: an earlier version's. Reads
/// the header of every recording in it.
void NoteUnfinished(const Camera& camera);

}  // namespace wpd
