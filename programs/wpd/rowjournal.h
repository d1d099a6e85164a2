// Rows that the database has not taken yet, kept in the daemon's journal file. Single-writer.
//
// A line of text a row: camera id, width, height, start, stop, frames, cause, size, and the path,
// which ends the line.
#pragma once

#include <watchpost/event/event.h>

#include <string>
#include <vector>

namespace wpd {

class RowJournal {
 public:
  explicit RowJournal(int camera_id);

  /// The rows kept; none when there is no journal. Invalid lines are passed over.
  [[nodiscard]] std::vector<Event> Load() const;

  /// Replaces the rows kept, at once or not at all. A failure costs nothing but the journal.
  void Save(const std::vector<Event>& rows) const;

 private:
  int camera_id_;
  std::string path_;
};

}  // namespace wpd
