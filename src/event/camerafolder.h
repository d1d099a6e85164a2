// The folder of a camera's recordings. Thread-safe; nothing is logged.
//
// The subfolder ".watchpost" in it shows that it is the camera's own, and not the empty place where
// a disk should be mounted. It holds a note, an empty file ID-NAME, for each recording that was
// begun and whose row does not say yet how it ended: after a crash they are found by their notes,
// whatever their names and however many recordings there are. A note is made before its file.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "base/export.h"
#include "camera/camera.h"

namespace watchpost {

enum class FolderState {
  kReady,    ///< it is the camera's
  kUnknown,  ///< it is there, and was never marked: an earlier version's, or made by hand
  kMissing,  ///< it is not there, or not the one that was marked: is its disk mounted?
};

/// Cheap: looks at the folder and at what this machine remembers of it.
WATCHPOST_API FolderState ExamineCameraFolder(const Camera& camera);

/// The subfolder that is the mark, and holds the notes.
inline constexpr char kMarkFolder[] = ".watchpost";

/// The message about a folder that is not there.
inline std::string MissingFolderText(const std::string& folder) {
  return folder + " is not there: is its disk mounted?";
}

/// Whether the folder is there and marked: a file that is missing from it has been removed, and
/// does not lie on a disk that is not mounted.
WATCHPOST_API bool IsMarkedFolder(const std::string& folder);

/// Makes the folder where it is missing and marks it as the camera's, whatever was known of it: on
/// a person's word, or for one of state kUnknown. False, with `error` filled, when it cannot.
WATCHPOST_API bool ClaimCameraFolder(const Camera& camera, std::string& error);

/// Takes the mark away, and forgets the folder if it is the one that this machine remembers of the
/// camera.
WATCHPOST_API void ReleaseCameraFolder(const Camera& camera);

/// Makes the folder `to`, marks it, and notes in it that recordings are moved into it from the
/// folder `from`: whoever finds the note knows that some of them may still be there. On the disk
/// when it returns. False, with `error` filled, when it cannot.
WATCHPOST_API bool BeginFolderMove(const std::string& to,
                                   const std::string& from,
                                   std::string& error);

/// The folder from which recordings are still being moved into `folder`; empty without such a note.
WATCHPOST_API std::string UnfinishedMoveFrom(const std::string& folder);

/// Where a recording lies that is being copied into `folder`, until it is whole. One at a time.
WATCHPOST_API std::string HalfMovedFile(const std::string& folder);

/// Takes the note away: all recordings have been moved.
WATCHPOST_API void EndFolderMove(const std::string& to);

/// Makes the note of a recording of the camera. False, with errno set, when it cannot be made:
/// EEXIST when there is one.
WATCHPOST_API bool NoteRecording(const std::string& folder, int camera_id, const std::string& name);

/// Creates the empty file of a recording of the camera that begins at `when`, with its note, under
/// a name that no file has yet: no recording may overwrite another. Returns the name; empty, with
/// `error` filled, when it cannot. Never makes the folder.
WATCHPOST_API std::string CreateRecording(const Camera& camera, time_t when, std::string& error);

/// Removes the note: the row says all. False when it may still be there, as on a disk that is not
/// mounted.
WATCHPOST_API bool ForgetRecording(const std::string& folder,
                                   int camera_id,
                                   const std::string& name);

/// Names of the camera's recordings that have a note. One whose file does not exist is left out,
/// and its note removed when it is older than a minute.
WATCHPOST_API std::vector<std::string> NotedRecordings(const std::string& folder, int camera_id);

}  // namespace watchpost
