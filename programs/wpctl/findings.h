// Whether files and rows of recordings agree, and making them agree.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/event/camerafolder.h>
#include <watchpost/event/event.h>
#include <watchpost/media/avirepair.h>

#include <list>
#include <optional>
#include <string>
#include <vector>

namespace wpctl {

enum class Trouble {
  kNoFile,      ///< a row without its file: the row goes
  kDuplicate,   ///< a row whose file has another row: it goes
  kNoRow,       ///< a recording without a row: a row is added
  kUnfinished,  ///< its writer died: it is finished, and its row corrected or added
  kDiffers,     ///< size or number of frames: the row is corrected
  kEmpty,       ///< begun, without a single frame; only reported
  kForeign,     ///< an .avi file that is not ours, or cannot be read; only reported
  kOutside,     ///< a row that names a file outside the camera's folder; only reported
};

struct Finding {
  Trouble trouble;
  std::string path;            ///< of the file
  std::optional<Event> event;  ///< the row, when there is one
  watchpost::AviContents contents;

  [[nodiscard]] bool IsRepairable() const { return trouble <= Trouble::kDiffers; }
};

/// What is wrong about one camera.
struct CameraFindings {
  Camera camera;
  int rows = 0;
  int files = 0;
  watchpost::FolderState folder = watchpost::FolderState::kReady;
  std::string move;      ///< that one is unfinished, and how it goes on; then nothing was checked
  bool has_rows = true;  ///< they could be read; without them no file was checked
  std::vector<Finding> findings;

  [[nodiscard]] bool HasFolder() const { return folder != watchpost::FolderState::kMissing; }
  [[nodiscard]] bool IsGood() const {
    return HasFolder() && move.empty() && has_rows && findings.empty();
  }

  /// How many rows repairing would change, add or remove.
  [[nodiscard]] int Changes() const;
};

/// Compares a camera's rows with the files in its folder; `cameras` are all. Files that are being
/// written are left out.
CameraFindings CheckCamera(const Camera& camera, const std::list<Camera>& cameras);

/// Keeps of `first` what a second look finds unchanged: what differs was at work.
void KeepConfirmed(CameraFindings& first, const CameraFindings& second);

/// "a.avi: ..." for people.
std::string Describe(const Finding& finding);

enum class RepairResult {
  kDone,
  kChanged,  ///< somebody has changed it meanwhile: nothing was done
  kFailed,
};

/// Repairs one finding that IsRepairable. Never removes a file.
RepairResult Repair(const Camera& camera, const Finding& finding);

}  // namespace wpctl
