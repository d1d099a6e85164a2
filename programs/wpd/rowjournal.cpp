#include "rowjournal.h"

#include <unistd.h>
#include <watchpost/platform/rootedpath.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace wpd {

RowJournal::RowJournal(int camera_id)
    : camera_id_(camera_id),
      path_(watchpost::RootedPath("/var/lib/orva/wpd-" + std::to_string(camera_id) + ".rows")) {}

std::vector<RecordingRow> RowJournal::Load() const {
  std::vector<RecordingRow> rows;
  std::ifstream file(path_);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    RecordingRow row;
    fields >> row.camera_id >> row.width >> row.height >> row.start >> row.stop >> row.frames >>
        row.cause >> row.size;
    fields.get();  // the blank before the path
    std::getline(fields, row.path);
    row.finished = true;  // whoever wrote it is gone
    if (!fields.fail() && row.camera_id == camera_id_ && !row.path.empty()) rows.push_back(row);
  }
  return rows;
}

void RowJournal::Save(const std::vector<RecordingRow>& rows) const {
  if (rows.empty()) return Remove();
  std::error_code failure;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), failure);
  const std::string fresh = path_ + ".new";
  std::ofstream file(fresh, std::ios::trunc);
  for (const RecordingRow& row : rows) {
    file << row.camera_id << ' ' << row.width << ' ' << row.height << ' ' << row.start << ' '
         << row.stop << ' ' << row.frames << ' ' << row.cause << ' ' << row.size << ' ' << row.path
         << '\n';
  }
  file.close();
  if (file) (void)std::rename(fresh.c_str(), path_.c_str());
}

void RowJournal::Remove() const {
  (void)unlink(path_.c_str());
}

}  // namespace wpd
