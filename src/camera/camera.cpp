#include "camera/camera.h"

#include <libgen.h>

#include <cstdio>
#include <ctime>
#include <utility>
#include <vector>

#include "base/diagnostics_internal.h"
#include "base/utils.h"
#include "camera/servicefolder.h"
#include "database/statement.h"
#include "database/textlimits_internal.h"
#include "database/wpdb.h"

using watchpost::CutText;
using watchpost::FormatStatement;
using watchpost::ResultPtr;

namespace {

constexpr char kLogSource[] = "camera";

const std::string kColumns =
    "name, type, vendor, model, hostname, port, path, username, password, fps, image_width, "
    "image_height, recording_path, recording_prefix, recording_capacity, recording_days, "
    "enable_capacity, enable_days, motion_sensitivity, enable_motionlog, schedule";
const std::string kValues =
    "'%s', %d, '%s', '%s', '%s', %d, '%s', '%s', '%s', %d, %d, %d, '%s', '%s', %d, %d, '%d', '%d', "
    "%d, '%d', '%s'";

std::string LastComponent(const std::string& path) {
  std::vector<char> buffer(path.c_str(), path.c_str() + path.size() + 1);
  return basename(buffer.data());
}

std::string SelectAll(const char* columns) {
  return std::string("SELECT ") + columns + " FROM " + gszTableCamera + " WHERE id > 0 ORDER BY id";
}

}  // namespace

Camera::Camera(int id) noexcept {
  (void)Load(id);
}  // the id shows whether it was found

Camera::Camera(std::string name, std::string host, CameraPreset preset) noexcept
    : name_(std::move(name)),
      host_(std::move(host)),
      port_(preset.Port()),
      path_(preset.Path(IMAGE_SIZE_DEFAULT, 0)) {}

Camera::Camera(std::string name,
               std::string host,
               int port,
               std::string path,
               std::string username,
               std::string password) noexcept
    : name_(std::move(name)),
      host_(std::move(host)),
      port_(port),
      path_(std::move(path)),
      username_(std::move(username)),
      password_(std::move(password)) {}

int Camera::SetSensitivity(int sensitivity) noexcept {
  if (sensitivity < 0 || sensitivity > 100) return -1;
  sensitivity_ = sensitivity;
  return 0;
}

void Camera::Validate() noexcept {
  CutText(name_, watchpost::kLongestName);
  CutText(vendor_, watchpost::kLongestMaker);
  CutText(model_, watchpost::kLongestMaker);
  CutText(host_, watchpost::kLongestHost);
  CutText(path_, watchpost::kLongestUrlPath);
  CutText(username_, watchpost::kLongestCredential);
  CutText(password_, watchpost::kLongestCredential);
  CutText(storage_path_, watchpost::kLongestFolder);
  CutText(filename_prefix_, watchpost::kLongestName);
}

bool Camera::IsTimeParamValid(int day, int hour) const noexcept {
  return watchpost::Schedule::Has(day, hour);
}

RecordingType Camera::GetSchedule(int day, int hour) const noexcept {
  return schedule_.Get(day, hour);
}

int Camera::SetSchedule(int day, int hour, RecordingType type) noexcept {
  return schedule_.Set(day, hour, type) ? 0 : -1;
}

RecordingType Camera::GetCurrentSchedule() const noexcept {
  const time_t now = time(nullptr);
  tm local{};
  if (localtime_r(&now, &local) == nullptr) {
    WP_LOG("Failed to get schedule");
    return RECORDING_NONE;
  }
  return GetSchedule(local.tm_wday, local.tm_hour);
}

std::string Camera::StringFromSchedule() const noexcept {
  return schedule_.ToText();
}

void Camera::ScheduleFromString(std::string text) noexcept {
  schedule_.FromText(text);
}

void Camera::DumpSchedule() const noexcept {}

// Puts every field but the id into a format that takes them in the order of kColumns.
watchpost::Statement Camera::FormatFields(const std::string& format) const noexcept {
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

watchpost::Statement Camera::FormatInsert() const noexcept {
  return FormatFields("INSERT INTO camera (id, " + kColumns + ") VALUES (" + itos(id_) + ", " +
                      kValues + ");");
}

// Without a closing semicolon, unlike the one above.
watchpost::Statement Camera::FormatInsertByDefaultID() const noexcept {
  return FormatFields("INSERT INTO camera (id, " + kColumns + ") VALUES (DEFAULT, " + kValues +
                      ") RETURNING id");
}

watchpost::Statement Camera::FormatUpdate() const noexcept {
  return FormatFields(
      "UPDATE camera SET name = '%s', type = %d, vendor = '%s', model = '%s', hostname = '%s', "
      "port = %d, path = '%s', username = '%s', password = '%s', fps = %d, image_width = %d, "
      "image_height = %d, recording_path = '%s', recording_prefix = '%s', recording_capacity = %d, "
      "recording_days = %d, enable_capacity = '%d', enable_days = '%d', motion_sensitivity = %d, "
      "enable_motionlog = '%d', schedule = '%s' WHERE id = " +
      itos(id_) + " ");
}

std::string Camera::strSqlInsert() const noexcept {
  return FormatInsert().text;
}

std::string Camera::strSqlInsertByDefaultID() const noexcept {
  return FormatInsertByDefaultID().text;
}

std::string Camera::strSqlUpdate() const noexcept {
  return FormatUpdate().text;
}

int Camera::PutRowIntoClassCamera(__tag_DBResult* result, unsigned int row) noexcept {
  if (result == nullptr) return -1;
  const watchpost::Row values(result, row);
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
  schedule_.FromRow(values.Text("schedule"));
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
  return watchpost::ExecuteStatement(FormatInsert());
}

int Camera::InsertByNewID() noexcept {
  const char* failure = watchpost::InsertRow(FormatInsertByDefaultID(), id_);
  if (failure == nullptr) return 0;
  WP_LOG("%s", failure);
  return -1;
}

int Camera::Update() noexcept {
  if (watchpost::ExecuteStatement(FormatUpdate()) == 0) return 0;
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

int Camera::Delete() noexcept {
  if (id_ > 0 && DeleteEventsOfCamera() != 0) return -1;
  (void)motion_detection_.Delete(id_);  // regions that stay behind belong to nobody
  return DeleteDBEntry();
}

int Camera::DeleteEventsOfCamera() noexcept {
  const auto service = watchpost::FindServiceFolder();
  if (!service) {
    WP_LOG("Get no service info");
    return -1;
  }
  const std::string moved = service->trash + "/" + LastComponent(storage_path_);
  if (!watchpost::MakeDirectory(service->trash)) {
    WP_LOG("Make tmp dir error!");
    return -1;
  }
  if (std::rename(storage_path_.c_str(), moved.c_str()) != 0) {
    WP_LOG("Remove to tmp error!");
  } else if (!watchpost::RemoveInBackground(moved)) {
    WP_LOG("Remove events error!");
    return -1;
  }
  if (WPDBExecute(std::string("DELETE FROM ") + gszTableEvent +
                  " WHERE camera_id = " + itos(id_)) != 0) {
    WP_LOG("Failed to delete camera(%d) events", id_);
    return -1;
  }
  return 0;
}

std::list<int> CameraEnum() noexcept {
  std::list<int> ids;
  const ResultPtr result = watchpost::Query(SelectAll("id"));
  watchpost::RowCursor rows(result.get());
  while (rows.Next()) ids.push_back(rows.Get().Int("id"));
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

void Camera::Dump() const noexcept {
  DumpField("Id", id_);
  DumpField("Name", name_.c_str());
  DumpField("Type", type_);
  DumpField("Host", host_.c_str());
  DumpField("Port", port_);
  DumpField("Path", path_.c_str());
  DumpField("User", username_.c_str());
  DumpField("Pass", password_.c_str());
  DumpField("FPS", fps_);
  DumpField("Width", image_width_);
  DumpField("Height", image_height_);
  DumpField("Store", storage_path_.c_str());
  DumpField("Prefix", filename_prefix_.c_str());
  DumpField("Capacity", capacity_limit_);
  DumpField("Days", expire_days_);
  DumpField("EnCap", static_cast<int>(rotate_by_size_));
  DumpField("EnDay", static_cast<int>(rotate_by_date_));
  DumpField("Sense", sensitivity_);
  DumpField("EnMotionLog", static_cast<int>(motion_log_));
  DumpSchedule();
}

void Camera::DumpField(const char* /*key*/, const char* /*value*/) noexcept {}

void Camera::DumpField(const char* /*key*/, int /*value*/) noexcept {}
