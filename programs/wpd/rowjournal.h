// Rows that the database has not taken yet, kept in "/var/lib/orva/wpd-ID.rows". Single-writer.
//
// A line of text a row: camera id, width, height, start, stop, frames, cause, size, and the path,
// which ends the line.
#pragma once

#include <string>
#include <vector>

#include "recordingrow.h"

namespace wpd {

class RowJournal {
 public:
  explicit RowJournal(int camera_id);

  /// The rows kept; none when there is no journal. Lines that make no sense are passed over.
  [[nodiscard]] std::vector<RecordingRow> Load() const;

  /// Replaces the rows kept, at once or not at all. A failure costs nothing but the journal.
  void Save(const std::vector<RecordingRow>& rows) const;

  void Remove() const;

 private:
  int camera_id_;
  std::string path_;
};

}  // namespace wpd
