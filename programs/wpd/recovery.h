// Finishing what a daemon that was killed left.
#pragma once

#include <watchpost/camera/camera.h>

#include "rowwriter.h"

namespace wpd {

/// Finishes the camera's recordings that have a note (event/camerafolder.h): index and header are
/// made from the frames that are there, the motion log gets its count, the row its true end, frames
/// and size, through `rows`. A file without a single whole frame goes, with its row. One that is
/// being written is passed over. False when one could not be finished, as on a full disk: to be
/// tried again.
bool FinishLeftovers(const Camera& camera, RowWriter& rows);

/// Makes notes of the unfinished recordings in a folder that has none: an earlier version's. Reads
/// the header of every recording in it.
void NoteUnfinished(const Camera& camera);

}  // namespace wpd
