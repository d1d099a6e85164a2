// Rows of recordings on their way to the database. What cannot be written is written later, and
// kept in a journal on disk meanwhile. Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>
#include <watchpost/camera/camera.h>
#include <watchpost/event/event.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "databaseworker.h"
#include "rowjournal.h"

namespace wpd {

class RowWriter : public DatabaseTask {
 public:
  /// Takes over the rows that an earlier daemon of the camera with that folder could not write.
  /// `worker` outlives the object.
  RowWriter(int camera_id, const std::string& folder, DatabaseWorker& worker);

  /// Takes over the newest state of the row of the recording whose file is `file`; the last one is
  /// `finished`.
  void Put(const Event& row, const std::string& file, bool finished);

  /// Takes over the final state of a row that an earlier daemon began. What the journal knows of
  /// its start and cause counts more.
  void PutRecovered(Event row, const std::string& file);

  /// Puts what is not written into the journal.
  void Keep() override;

 private:
  /// A row on its way to the database.
  struct Entry {
    Event row;  ///< its id is that of the database's row, once that is known
    std::string file;
    bool finished = false;
    bool noted = false;          ///< its note stays: whether the file is finished is not known
    std::uint64_t revision = 1;  ///< of `row`
    std::uint64_t written = 0;   ///< revision that the database holds
  };
  using Entries = std::map<std::string, Entry>;  // by the row's path

  [[nodiscard]] bool HasWork() override;
  bool DoWork() override;
  Entry* NextDirty() WATCHPOST_REQUIRES(mutex_);
  void RemoveNotes() WATCHPOST_REQUIRES(mutex_);
  static bool Store(Entry& entry);

  RowJournal journal_;
  DatabaseWorker& worker_;
  watchpost::Mutex mutex_;
  Entries entries_ WATCHPOST_GUARDED_BY(mutex_);
  std::vector<Entry> done_ WATCHPOST_GUARDED_BY(mutex_);    // but for their notes
  bool journal_kept_ WATCHPOST_GUARDED_BY(mutex_) = false;  // there are rows in the journal
};

}  // namespace wpd
