// Finishing what a daemon that was killed left.
#pragma once

#include <watchpost/camera/camera.h>

#include "rowwriter.h"

namespace wpd {

/// Finishes the camera's recordings whose writer died: index and header are made from the frames
/// that are there, the motion log gets its count, the row its true end, frames and size, through
/// `rows`. A file without a single whole frame goes, with its row. Checks the newest files only;
/// all others have been checked by an earlier start. Must run before the camera records.
void FinishLeftovers(const Camera& camera, RowWriter& rows);

}  // namespace wpd
