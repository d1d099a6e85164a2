#include "event/event.h"

#include <utility>

#include "base/diagnostics_internal.h"
#include "base/utils.h"
#include "database/statement.h"
#include "database/wpdb.h"

using watchpost::FormatStatement;

namespace {

constexpr char kLogSource[] = "event";

}  // namespace

Event::Event(int id) noexcept : id_(id) {
  (void)Reload();
}  // the id shows whether it was found

Event::Event(int cameraId, int width, int height, EVENT_CAUSE cause, std::string path) noexcept
    : camera_id_(cameraId),
      video_width_(width),
      video_height_(height),
      cause_(cause),
      path_(std::move(path)) {}

int Event::PutRowIntoObj(DBResult* result, unsigned int row) noexcept {
  if (result == nullptr) return -1;
  const watchpost::Row values(result, row);
  id_ = values.Int("id");
  camera_id_ = values.Int("camera_id");
  video_width_ = values.Int("video_width");
  video_height_ = values.Int("video_height");
  start_time_ = values.Long("start_time");
  stop_time_ = values.Long("stop_time");
  frame_count_ = values.Int("framecount");
  cause_ = static_cast<EVENT_CAUSE>(values.Int("cause"));
  archived_ = values.Bool("archived");
  path_ = values.Text("path");
  file_size_ = values.Int("filesize");
  return 0;
}

int Event::Reload() noexcept {
  if (id_ == 0) return -1;
  const watchpost::ResultPtr result =
      watchpost::Query("SELECT * FROM event WHERE id = " + itos(id_) + ";");
  if (result == nullptr) return -1;
  watchpost::RowCursor rows(result.get());
  if (ORVADBNumRows(result.get()) == 1 && rows.Next()) {
    (void)PutRowIntoObj(result.get(), rows.Index());  // there is a result
  } else {
    id_ = 0;
  }
  return 0;
}

// The server takes ")RETURNING" without a blank.
watchpost::Statement Event::FormatInsert() const noexcept {
  return FormatStatement(
      "INSERT INTO event (id, camera_id, video_width, video_height, start_time, stop_time, "
      "framecount, cause, archived, path, filesize) VALUES (DEFAULT, %d, %d, %d, %ld, %ld, %d, %d, "
      "'%d', '%s', %d)RETURNING id",
      camera_id_,
      video_width_,
      video_height_,
      start_time_,
      stop_time_,
      frame_count_,
      cause_,
      archived_,
      WPDBEscapeString(path_).c_str(),
      file_size_);
}

watchpost::Statement Event::FormatUpdate() const noexcept {
  return FormatStatement(
      "UPDATE event SET camera_id = %d, video_width = %d, video_height = %d, start_time = %ld, "
      "stop_time = %ld, framecount = %d, cause = %d, archived = '%d', path = '%s', filesize = %d "
      "WHERE id = %d ",
      camera_id_,
      video_width_,
      video_height_,
      start_time_,
      stop_time_,
      frame_count_,
      cause_,
      archived_,
      WPDBEscapeString(path_).c_str(),
      file_size_,
      id_);
}

std::string Event::strSqlInsert() const noexcept {
  return FormatInsert().text;
}

std::string Event::strSqlUpdate() const noexcept {
  return FormatUpdate().text;
}

int Event::SqlInsert() noexcept {
  const char* failure = watchpost::InsertRow(FormatInsert(), id_);
  if (failure == nullptr) return 0;
  WP_LOG("%s", failure);
  return -1;
}

int Event::SqlUpdate() noexcept {
  if (watchpost::ExecuteStatement(FormatUpdate()) == 0) return 0;
  WP_LOG("Failed to execute command");
  return -1;
}

int Event::Save() noexcept {
  return IsSaved() ? SqlUpdate() : SqlInsert();
}

int Event::Delete() noexcept {
  if (WPDBExecute(std::string("DELETE FROM ") + gszTableEvent + " WHERE id = " + itos(id_)) != 0) {
    WP_LOG("Unable to delete event [%d] from db", id_);
    return -1;
  }
  id_ = 0;
  return 0;
}
