// Camera rows: the statements that read and write them.

#include <utility>

#include "camera/camera.h"
#include "foundation/dbrow_internal.h"
#include "foundation/log_internal.h"
#include "foundation/statement_internal.h"
#include "foundation/utils.h"

using watchpost::FormatStatement;
using watchpost::ResultPtr;

namespace {

constexpr char kLogSource[] = "camera";

const std::string kColumns =
    "name, type, vendor, model, hostname, port, path, username, password, fps, image_width, "
    "image_height, "
    "recording_path, recording_prefix, recording_capacity, recording_days, enable_capacity, "
    "enable_days, "
    "motion_sensitivity, enable_motionlog, schedule";
const std::string kValues =
    "'%s', %d, '%s', '%s', '%s', %d, '%s', '%s', '%s', %d, %d, %d, '%s', '%s', %d, %d, '%d', '%d', "
    "%d, '%d', '%s'";

std::string SelectAll(const char* columns) {
  return std::string("SELECT ") + columns + " FROM " + gszTableCamera + " WHERE id > 0 ORDER BY id";
}

}  // namespace

// Puts every field but the id into a format that takes them in the order of kColumns.
std::string Camera::FormatFields(const std::string& format) const noexcept {
  return FormatStatement(format.c_str(),
                         WPDBEscapeString(name_).c_str(),
                         type_,
                         WPDBEscapeString(vendor_).c_str(),
                         WPDBEscapeString(model_).c_str(),
                         WPDBEscapeString(host_).c_str(),
                         port_,
                         WPDBEscapeString(path_).c_str(),
                         WPDBEscapeString(username_).c_str(),
                         WPDBEscapeString(password_).c_str(),
                         fps_,
                         image_width_,
                         image_height_,
                         WPDBEscapeString(storage_path_).c_str(),
                         WPDBEscapeString(filename_prefix_).c_str(),
                         capacity_limit_,
                         expire_days_,
                         rotate_by_size_,
                         rotate_by_date_,
                         sensitivity_,
                         motion_log_,
                         WPDBEscapeString(StringFromSchedule()).c_str());
}

std::string Camera::strSqlInsert() const noexcept {
  return FormatFields("INSERT INTO camera (id, " + kColumns + ") VALUES (" + itos(id_) + ", " +
                      kValues + ");");
}

// Without a closing semicolon, unlike the one above.
std::string Camera::strSqlInsertByDefaultID() const noexcept {
  return FormatFields("INSERT INTO camera (id, " + kColumns + ") VALUES (DEFAULT, " + kValues +
                      ") RETURNING id");
}

std::string Camera::strSqlUpdate() const noexcept {
  return FormatFields(
      "UPDATE camera SET name = '%s', type = %d, vendor = '%s', model = '%s', hostname = '%s', "
      "port = %d, "
      "path = '%s', username = '%s', password = '%s', fps = %d, image_width = %d, image_height = "
      "%d, "
      "recording_path = '%s', recording_prefix = '%s', recording_capacity = %d, recording_days = "
      "%d, "
      "enable_capacity = '%d', enable_days = '%d', motion_sensitivity = %d, enable_motionlog = "
      "'%d', "
      "schedule = '%s' WHERE id = " +
      itos(id_) + " ");
}

int Camera::PutRowIntoClassCamera(__tag_DBResult* result, unsigned int row) noexcept {
  if (result == nullptr) return -1;
  const watchpost::DBRow values(result, row);
  id_ = values.Int("id");
  type_ = values.Int("type");
  port_ = values.Int("port");
  fps_ = values.Int("fps");
  image_width_ = values.Int("image_width");
  image_height_ = values.Int("image_height");
  capacity_limit_ = values.Int("recording_capacity");
  expire_days_ = values.Int("recording_days");
  sensitivity_ = values.Int("motion_sensitivity");
  name_ = values.Text("name");
  vendor_ = values.Text("vendor");
  model_ = values.Text("model");
  host_ = values.Text("hostname");
  path_ = values.Text("path");
  username_ = values.Text("username");
  password_ = values.Text("password");
  storage_path_ = values.Text("recording_path");
  filename_prefix_ = values.Text("recording_prefix");
  rotate_by_size_ = values.Bool("enable_capacity");
  rotate_by_date_ = values.Bool("enable_days");
  motion_log_ = values.Bool("enable_motionlog");
  LoadSchedule(values.Text("schedule"));
  return 0;
}

int Camera::Load(int id) noexcept {
  id_ = id;
  if (Reload() == 0) return 0;
  id_ = 0;
  return -1;
}

int Camera::Reload() noexcept {
  const ResultPtr result =
      watchpost::Query(std::string("SELECT * FROM camera WHERE id = ") + itos(id_) + ";");
  if (ORVADBNumRows(result.get()) != 1) return -1;
  watchpost::RowCursor rows(result.get());
  if (!rows.Next()) return -1;
  (void)PutRowIntoClassCamera(result.get(), rows.Index());  // there is a result
  (void)ReloadMotionDet();  // a camera without its regions is still usable
  return 0;
}

int Camera::ReloadMotionDet() noexcept {
  if (motion_detection_.Reload(id_) == 0) return 0;
  WP_LOG("reload failed\n");
  return -1;
}

int Camera::Insert() noexcept {
  return watchpost::ExecuteStatement(strSqlInsert());
}

int Camera::InsertByNewID() noexcept {
  const char* failure = watchpost::InsertRow(strSqlInsertByDefaultID(), id_);
  if (failure == nullptr) return 0;
  WP_LOG("%s", failure);
  return -1;
}

int Camera::Update() noexcept {
  if (watchpost::ExecuteStatement(strSqlUpdate()) == 0) return 0;
  WP_LOG("Failed to execute command");
  return -1;
}

int Camera::Save(bool temporary) noexcept {
  Validate();
  if (id_ == 0 && temporary) {
    if (DeleteDBEntry() != 0) {
      WP_LOG("DELETE FAILED\n");
      return -1;
    }
    if (Insert() != 0) {
      WP_LOG("INSERT FAILED\n");
      return -1;
    }
  } else if (id_ == 0) {
    if (InsertByNewID() != 0) {
      WP_LOG("INSERT FAILED\n");
      return -1;
    }
  } else {
    (void)Update();  // a failed update still rewrites the regions and counts as saved
  }
  // Whether the regions could be written is deliberately not looked at, either.
  (void)motion_detection_.Delete(id_);
  (void)motion_detection_.Save(id_);
  return 0;
}

int Camera::SaveTemp() noexcept {
  const int id = std::exchange(id_, 0);
  const int result = Save(true);
  id_ = id;
  return result;
}

int Camera::DeleteDBEntry() noexcept {
  if (WPDBExecute(std::string("DELETE FROM ") + gszTableCamera + " WHERE id = " + itos(id_)) == 0)
    return 0;
  WP_LOG("Failed to delete camera %d", id_);
  return -1;
}

std::list<int> CameraEnum() noexcept {
  std::list<int> ids;
  const ResultPtr result = watchpost::Query(SelectAll("id"));
  watchpost::RowCursor rows(result.get());
  while (rows.Next()) ids.push_back(rows.Row().Int("id"));
  return ids;
}

std::list<Camera> CameraGetAll() noexcept {
  std::list<Camera> cameras;
  const ResultPtr result = watchpost::Query(SelectAll("*"));
  watchpost::RowCursor rows(result.get());
  while (rows.Next()) {
    Camera camera;
    (void)camera.PutRowIntoClassCamera(result.get(), rows.Index());  // there is a result
    (void)camera.ReloadMotionDet();  // a camera without its regions is still listed
    cameras.push_back(camera);
  }
  return cameras;
}
