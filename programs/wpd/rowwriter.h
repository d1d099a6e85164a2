// Keeps the database up to date from a thread of its own, so that recording never waits for it.
// What cannot be written is written later, and kept in a journal on disk meanwhile. Thread-safe.
#pragma once

#include <watchpost/event/event.h>
#include <watchpost/service/services.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "camerarecord.h"
#include "log.h"
#include "recordingrow.h"
#include "rowjournal.h"

namespace wpd {

class RowWriter {
 public:
  explicit RowWriter(int camera_id);

  /// Waits for the statement at hand, which may take as long as the database library allows.
  ~RowWriter();
  RowWriter(const RowWriter&) = delete;
  RowWriter& operator=(const RowWriter&) = delete;

  /// Starts the thread, and takes over the rows that an earlier daemon could not write.
  void Start();

  /// Takes over the newest state of a row.
  void Put(const RecordingRow& row);

  /// Takes over the final state of a row that an earlier daemon began. What the journal knows of
  /// its start and cause counts more.
  void PutRecovered(RecordingRow row);

  /// Takes over a new state of the daemon; all are reported, in their order.
  void Report(DAEMON_STATUS status);

  /// Asks for the camera's record to be read again; TakeReloaded gives it out when that is done.
  void Reload();

  /// The camera's record, once after each time that it was read; nothing else.
  std::optional<CameraRecord> TakeReloaded();

  /// Waits until all that was handed in is written; false when `limit` was over before.
  bool Flush(std::chrono::milliseconds limit);

  /// Puts what is not written into the journal.
  void KeepRows();

 private:
  /// A row on its way to the database.
  struct Entry {
    RecordingRow row;
    std::uint64_t revision = 1;  // of `row`
    std::uint64_t written = 0;   // revision that the database holds
    bool insert_tried = false;   // there may be a row of which nobody told us the id
    int id = 0;                  // of the row in the database, once it is known
  };
  using Entries = std::map<std::string, Entry>;  // by path

  void Run();
  bool WriteAll(std::unique_lock<std::mutex>& lock);
  bool WriteStatus(std::unique_lock<std::mutex>& lock);
  bool WriteRow(std::unique_lock<std::mutex>& lock, Entry& entry);
  bool LoadCamera(std::unique_lock<std::mutex>& lock);
  Entry* NextDirty();
  [[nodiscard]] bool HasWork() const;
  void KeepJournal();

  const int camera_id_;
  RowJournal journal_;
  Spell trouble_;
  std::mutex mutex_;  // guards all below
  std::condition_variable work_;
  std::condition_variable written_;
  Entries entries_;
  std::deque<DAEMON_STATUS> statuses_;  // still to be reported
  bool reload_ = false;                 // the camera is still to be read
  std::optional<CameraRecord> reloaded_;
  bool journal_kept_ = false;  // there are rows in the journal
  bool busy_ = false;          // a statement is being run
  bool hurry_ = false;         // somebody waits in Flush
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace wpd
