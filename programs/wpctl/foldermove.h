// Moving a camera's recordings into another folder, one by one, so that a move that is cut short at
// any point can go on. The order: the note in the new folder (event/camerafolder.h), the camera's
// row, the recordings, the old folder, the note away. A recording is moved with its motion log
// first; a file that crosses file systems is synced under its new name before the old one goes.
#pragma once

#include <watchpost/camera/camera.h>

#include <string>
#include <vector>

namespace wpctl {

struct FolderMove {
  int moved = 0;                     ///< recordings
  std::vector<std::string> renamed;  ///< "a.avi is b.avi now": the new folder had one of that name
  std::vector<std::string> left;     ///< what is no recording, and stays in the old folder
};

/// Notes the move and stores `camera`, whose folder is the new one; `from` is the one that its row
/// has. False, with `error` filled and nothing changed, when it cannot.
bool BeginMove(Camera& camera, const std::string& from, std::string& error);

/// Moves what is left in the folder that the note names, and ends the move. False, with `error`
/// filled, when it did not get to its end: to be called again.
bool FinishMove(const Camera& camera, FolderMove& move, std::string& error);

/// Whether a move into the camera's folder is unfinished; `what` then says so, and how it goes on.
bool HasUnfinishedMove(const Camera& camera, std::string& what);

/// Whether a move into the camera's folder is unfinished that began in `folder`.
bool TakesMoveBack(const Camera& camera, const std::string& folder);

}  // namespace wpctl
