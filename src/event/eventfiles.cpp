#include "event/eventfiles.h"

#include <string.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>

#include "base/diagnostics_internal.h"
#include "camera/servicefolder.h"
#include "database/statement.h"
#include "database/wpdb.h"
#include "event/camerafolder.h"
#include "event/eventfolder_internal.h"
#include "event/eventutils.h"
#include "event/recordingfile.h"
#include "event/wplog.h"
#include "platform/orvaea.h"

namespace {

constexpr char kLogSource[] = "eventutils";

std::string Delete() {
  return std::string("DELETE FROM ") + gszTableEvent;
}

// All cameras; nothing when they could not be read, which must not look like having none.
std::optional<std::list<Camera>> ReadCameras() {
  const watchpost::ResultPtr ids =
      watchpost::Query(std::string("SELECT id FROM ") + gszTableCamera + " WHERE id > 0");
  if (ids == nullptr) return std::nullopt;
  std::size_t count = 0;
  for (watchpost::RowCursor rows(ids.get()); rows.Next();) ++count;
  std::list<Camera> cameras = CameraGetAll();
  if (cameras.size() < count) return std::nullopt;
  return cameras;
}

// Empty unless both the recording and its camera are stored.
std::string EventFilePath(Event& event) {
  Camera camera(event.GetCameraID());
  if (!event.IsSaved() || !camera.IsSaved()) return "";
  return watchpost::JoinRecordingPath(camera.GetStoragePath(), event.GetPath());
}

std::string LastName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

int EventFullPath(Camera& camera, Event& event, std::string& path) noexcept {
  if (camera.GetId() != event.GetCameraID()) return -1;
  path = watchpost::JoinRecordingPath(camera.GetStoragePath(), event.GetPath());
  return 0;
}

int RemoveEventFile(const char* path) noexcept {
  if (path == nullptr) return -1;
  (void)ORVAEARemove(path);  // there may be none
  return std::remove(path);
}

int DeleteEvent(int eventId) noexcept {
  Event event(eventId);
  const std::string path = EventFilePath(event);
  if (path.empty()) {
    WP_LOG("Cannot find recorded file of event [%d]", eventId);
  } else if (RemoveEventFile(path.c_str()) != 0) {
    WP_LOG("Cannot delete file [%s]", path.c_str());
  }
  if (event.Delete() == 0) return 0;
  WP_LOG("Cannot delete event [%d]", eventId);
  return -1;
}

int DeleteEvent(std::list<int>& eventIds) noexcept {
  for (Event& event : GetEvents(eventIds)) {
    const std::string path = EventFilePath(event);
    if (path.empty()) continue;
    if (RemoveEventFile(path.c_str()) != 0)
      WP_LOG("Cannot delete file [%s]: %s\n", path.c_str(), strerror(errno));
    (void)WPLog(WP_LOG_EVENT_DELETED, event.GetPath().c_str(), "", "", "");  // always 0
  }
  std::string condition;
  for (const int id : eventIds)
    condition += std::string(condition.empty() ? "" : "OR ") + "( id = " + itos(id) + " ) ";
  if (WPDBExecute(Delete() + " WHERE " + condition) == 0) return 0;
  WP_LOG("Error deleting events");
  return -1;
}

int DeleteAllDBEvent() noexcept {
  if (WPDBExecute(Delete()) == 0) return 0;
  WP_LOG("Remove all event DB entries failed\n");
  return -1;
}

long long GetTotalSizeOfEventInByte(int cameraId) noexcept {
  const watchpost::ResultPtr result =
      watchpost::Query(std::string("SELECT sum(filesize) FROM ") + gszTableEvent +
                       " WHERE camera_id=" + itos(cameraId));
  if (result == nullptr) WP_LOG("Execute failed\n");
  watchpost::RowCursor rows(result.get());
  return rows.Next() ? rows.Get().LongLong("sum") : 0;
}

bool IsEventComplete(Camera& camera, Event& event) noexcept {
  std::string path;
  return EventFullPath(camera, event, path) == 0 && IsFileLocked(path.c_str()) == 0;
}

bool IsEventComplete(Event& event) noexcept {
  Camera camera(event.GetCameraID());
  return camera.IsSaved() && IsEventComplete(camera, event);
}

int ClearObsoleteDir() noexcept {
  const std::optional<std::list<Camera>> cameras = ReadCameras();
  if (!cameras) return -1;
  std::string trash;
  std::string folder;
  std::list<std::string> entries;
  if (CheckAndMakeTempDir(trash, folder) != 0 || ListServiceDirEntries(entries) != 0) return -1;
  for (const std::string& entry : entries) {
    const bool kept = std::any_of(cameras->begin(), cameras->end(), [&](const Camera& camera) {
      return camera.GetStoragePath() == entry ||
             watchpost::UnfinishedMoveFrom(camera.GetStoragePath()) == entry;
    });
    if (kept || LastName(entry) == watchpost::kStreamFolder) continue;
    const std::string target = trash + "/" + LastName(entry);
    (void)ORVAEARemove(entry.c_str());  // there may be none
    if (std::rename(entry.c_str(), target.c_str()) < 0)
      WP_LOG("Remove to tmp %s %s error!", entry.c_str(), target.c_str());
  }
  if (watchpost::RemoveInBackground(trash)) return 0;
  WP_LOG("Remove obsolete dirs error!");
  return -1;
}

int CheckAndDropEventDBEntry() noexcept {
  std::list<std::string> entries;
  const std::list<Camera> cameras = CameraGetAll();
  if (ListServiceDirEntries(entries) != 0) return -1;
  for (const Camera& camera : cameras) {
    if (std::find(entries.begin(), entries.end(), camera.GetStoragePath()) != entries.end())
      continue;
    if (WPDBExecute(Delete() + " WHERE camera_id=" + itos(camera.GetId())) == 0) continue;
    WP_LOG("Error deleting DB events in Camera(%d)", camera.GetId());
    return -1;
  }
  return 0;
}
