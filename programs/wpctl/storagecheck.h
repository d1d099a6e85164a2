// Whether files and rows of recordings agree, and making them agree.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/event/event.h>
#include <watchpost/media/avirepair.h>

#include <optional>
#include <string>
#include <vector>

namespace wpctl {

enum class Trouble {
  kNoFile,      ///< a row without its file: the row goes
  kNoRow,       ///< a recording without a row: a row is added
  kUnfinished,  ///< its writer died: it is finished, and its row corrected or added
  kDiffers,     ///< size or number of pictures: the row is corrected
  kEmpty,      ///< begun, without a single picture; only reported
  kForeign,     ///< an .avi file that is not ours, or cannot be read; only reported
  kOutside,     ///< a row that names a file outside the camera's folder; only reported
};

struct Finding {
  Trouble trouble;
  std::string path;            ///< of the file
  std::optional<Event> event;  ///< the row, when there is one
  watchpost::AviContents contents;
};

/// What is wrong about one camera.
struct CameraFindings {
  Camera camera;
  int rows = 0;
  int files = 0;
  bool has_folder = true;  ///< without it nothing else was looked at
  std::vector<Finding> findings;

  /// How many rows repairing would change, add or remove.
  [[nodiscard]] int Changes() const;
};

/// Compares a camera's rows with the files in its folder. Files that are being written are left
/// out.
CameraFindings CheckCamera(const Camera& camera);

/// "a.avi: ..." for people.
std::string Describe(const Finding& finding);

/// Repairs one finding. False when it could not be, or is of a kind that is only reported. Never removes
/// a file.
bool Repair(const Camera& camera, const Finding& finding);

}  // namespace wpctl
