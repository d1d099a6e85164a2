// Recordings as files: where they are, whether they are finished, removing them with their rows,
// and clearing the service's folder of what belongs to no camera. Thread-safe. What fails is logged
// in the system log.
#pragma once

#include <list>
#include <string>

#include "base/export.h"
#include "base/utils.h"
#include "camera/camera.h"
#include "event/event.h"

/// The full path of a recording of `camera`. Returns 0; -1, with `path` untouched, for a recording
/// of another camera.
WATCHPOST_API int EventFullPath(Camera& camera, Event& event, std::string& path) noexcept;

/// Removes a recording's motion log and then its file. Returns the result of remove(3); -1 for
/// null.
WATCHPOST_API int RemoveEventFile(const char* path) noexcept;

/// Removes the file of a recording, then its row: the row goes whatever became of the file. Returns
/// 0; -1 when the database did not delete it. An id without a row is no error.
WATCHPOST_API int DeleteEvent(int eventId) noexcept;

/// The same for many, with an entry in the appliance's event log for each file and one statement
/// for all rows. Returns 0 or -1, always -1 for an empty list.
WATCHPOST_API int DeleteEvent(std::list<int>& eventIds) noexcept;

/// Deletes all rows and no file. Returns 0 or -1.
WATCHPOST_API int DeleteAllDBEvent() noexcept;

/// Sum of the sizes of a camera's recordings, by their rows; 0 also when the database cannot be
/// read.
WATCHPOST_API long long GetTotalSizeOfEventInByte(int cameraId) noexcept;

/// Whether nobody writes the recording's file any more. False for a recording of another camera, or
/// of one that does not exist.
WATCHPOST_API bool IsEventComplete(Camera& camera, Event& event) noexcept;
WATCHPOST_API bool IsEventComplete(Event& event) noexcept;

/// Moves every entry of the service's folder that is no camera's storage path (compared as text),
/// and none from which recordings are still being moved, to the service's temporary folder, and
/// removes that in the background. Moves nothing when the cameras cannot be read. Returns 0 or -1.
WATCHPOST_API int ClearObsoleteDir() noexcept;

/// Deletes the rows of every camera whose storage path is no entry of the service's folder
/// (compared as text). Returns 0; -1 when the folder cannot be read, or at the first deletion that
/// fails.
WATCHPOST_API int CheckAndDropEventDBEntry() noexcept;
