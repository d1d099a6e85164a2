#include "rowjournal.h"

#include <unistd.h>
#include <watchpost/base/paths.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace wpd {
namespace {

bool ReadLine(const std::string& line, int camera_id, Event& row) {
  std::istringstream fields(line);
  int id = 0;
  int width = 0;
  int height = 0;
  long start = 0;
  long stop = 0;
  int frames = 0;
  int cause = 0;
  int size = 0;
  std::string path;
  fields >> id >> width >> height >> start >> stop >> frames >> cause >> size;
  fields.get();  // the blank before the path
  std::getline(fields, path);
  if (fields.fail() || id != camera_id || path.empty()) return false;
  row = Event(id, width, height, static_cast<EVENT_CAUSE>(cause), path);
  row.SetStartTime(start);
  row.SetEndTime(stop);
  row.SetFrameCount(frames);
  row.SetSize(size);
  return true;
}

void WriteLine(std::ostream& file, const Event& row) {
  file << row.GetCameraID() << ' ' << row.GetVideoWidth() << ' ' << row.GetVideoHeight() << ' '
       << row.GetStartTime() << ' ' << row.GetStopTime() << ' ' << row.GetFrameCount() << ' '
       << row.GetCause() << ' ' << row.GetSize() << ' ' << row.GetPath() << '\n';
}

}  // namespace

RowJournal::RowJournal(int camera_id)
    : camera_id_(camera_id), path_(watchpost::DaemonJournalFile(camera_id)) {}

std::vector<Event> RowJournal::Load() const {
  std::vector<Event> rows;
  std::ifstream file(path_);
  for (std::string line; std::getline(file, line);) {
    Event row;
    if (ReadLine(line, camera_id_, row)) rows.push_back(row);
  }
  return rows;
}

void RowJournal::Save(const std::vector<Event>& rows) const {
  if (rows.empty()) {
    (void)unlink(path_.c_str());  // there may be none
    return;
  }
  std::error_code failure;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), failure);
  const std::string fresh = path_ + ".new";
  std::ofstream file(fresh, std::ios::trunc);
  for (const Event& row : rows) WriteLine(file, row);
  file.close();
  if (file) (void)std::rename(fresh.c_str(), path_.c_str());
}

}  // namespace wpd
