#include "rowwriter.h"

#include <unistd.h>
#include <watchpost/event/event.h>
#include <watchpost/foundation/wpdb.h>

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace wpd {
namespace {

constexpr std::chrono::seconds kShortestPause{1};
constexpr std::chrono::seconds kLongestPause{10};

// Asked before statements of which the library would log every failure: a dead database is worth
// one line.
bool DatabaseAnswers() {
  pg_conn* conn = WPDBConnect();
  WPDBClose(conn);
  return conn != nullptr;
}

// Id that a statement returns in its first row: 0 without a row, -1 when it failed. Unlike Event's
// own operations it logs nothing: a dead database is worth one line.
int AskId(const std::string& sql) {
  DBResult* result = nullptr;
  if (WPDBExecute(sql, &result) != 0) return -1;
  auto row = static_cast<unsigned int>(-1);
  const char* text =
      ORVADBFetchRow(result, &row) == 0 ? ORVADBFetchField(result, row, "id") : nullptr;
  const int id = text == nullptr ? 0 : std::atoi(text);
  ORVADBFreeResult(result);
  return id;
}

// Finds the row that an insert whose answer was lost may have left: its id, 0, or -1 when the
// database did not tell.
int FindInserted(const RecordingRow& row) {
  return AskId("SELECT id FROM event WHERE camera_id = " + std::to_string(row.camera_id) +
               " AND start_time = " + std::to_string(row.start) + " AND path = '" +
               WPDBEscapeString(row.path) + "'");
}

int Insert(const RecordingRow& row) {
  Event fresh(row.camera_id, row.width, row.height, static_cast<EVENT_CAUSE>(row.cause), row.path);
  fresh.SetStartTime(row.start);
  fresh.SetEndTime(row.stop);
  fresh.SetFrameCount(row.frames);
  fresh.SetSize(row.size);
  return AskId(fresh.strSqlInsert());
}

// Only what changes while a recording grows: others may have archived it meanwhile.
int Update(const RecordingRow& row, int id) {
  return AskId("UPDATE event SET start_time = " + std::to_string(row.start) + ", stop_time = " +
               std::to_string(row.stop) + ", framecount = " + std::to_string(row.frames) +
               ", filesize = " + std::to_string(row.size) + " WHERE id = " + std::to_string(id) +
               " RETURNING id");
}

// Whether the row is in the database as it should be, or nowhere because its file has gone.
bool Store(const RecordingRow& row, int& id, bool& insert_tried) {
  if (id == 0 && insert_tried) {
    const int found = FindInserted(row);
    if (found < 0) return false;
    id = found;
  }
  if (id != 0) {
    const int updated = Update(row, id);
    if (updated != 0) return updated > 0;
    // Somebody deleted it. With its file that is final; without, the recording needs a row: making
    // room takes the rows of a whole second.
    id = 0;
    if (row.file.empty() || access(row.file.c_str(), F_OK) != 0) return true;
  }
  insert_tried = true;
  id = std::max(Insert(row), 0);
  return id != 0;
}

}  // namespace

RowWriter::RowWriter(int camera_id)
    : camera_id_(camera_id),
      journal_(camera_id),
      trouble_("camera " + std::to_string(camera_id) +
               ": the database answers again; rows are up to date") {}

RowWriter::~RowWriter() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  work_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void RowWriter::Start() {
  for (RecordingRow& row : journal_.Load()) {
    Entry entry;
    entry.insert_tried = true;
    std::string path = row.path;
    entry.row = std::move(row);
    entries_.emplace(std::move(path), std::move(entry));
    journal_kept_ = true;
  }
  thread_ = std::thread([this] { Run(); });
}

void RowWriter::Put(const RecordingRow& row) {
  {
    const std::lock_guard lock(mutex_);
    const auto [place, added] = entries_.try_emplace(row.path);
    place->second.row = row;
    if (!added) ++place->second.revision;
  }
  work_.notify_one();
}

void RowWriter::PutRecovered(RecordingRow row) {
  {
    const std::lock_guard lock(mutex_);
    const auto [place, added] = entries_.try_emplace(row.path);
    Entry& entry = place->second;
    if (!added) {
      row.start = entry.row.start;
      row.cause = entry.row.cause;
      ++entry.revision;
    }
    entry.insert_tried = true;  // the earlier daemon may have
    entry.row = std::move(row);
  }
  work_.notify_one();
}

void RowWriter::Report(DAEMON_STATUS status) {
  {
    const std::lock_guard lock(mutex_);
    statuses_.push_back(status);
  }
  work_.notify_one();
}

void RowWriter::Reload() {
  {
    const std::lock_guard lock(mutex_);
    reload_ = true;
  }
  work_.notify_one();
}

std::optional<CameraRecord> RowWriter::TakeReloaded() {
  const std::lock_guard lock(mutex_);
  return std::exchange(reloaded_, std::nullopt);
}

bool RowWriter::Flush(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  hurry_ = true;
  work_.notify_one();
  const bool done = written_.wait_for(lock, limit, [this] { return !HasWork() && !busy_; });
  hurry_ = false;
  return done;
}

void RowWriter::KeepRows() {
  const std::lock_guard lock(mutex_);
  KeepJournal();
}

bool RowWriter::HasWork() const {
  const auto dirty = [](const auto& place) {
    return place.second.written != place.second.revision;
  };
  return !statuses_.empty() || reload_ || std::any_of(entries_.begin(), entries_.end(), dirty);
}

RowWriter::Entry* RowWriter::NextDirty() {
  for (auto& [path, entry] : entries_) {
    if (entry.written != entry.revision) return &entry;
  }
  return nullptr;
}

void RowWriter::Run() {
  std::unique_lock lock(mutex_);
  std::chrono::seconds pause{0};
  while (!stop_) {
    if (!HasWork()) {
      trouble_.End();
      pause = {};
      if (std::exchange(journal_kept_, false)) journal_.Remove();
      written_.notify_all();
      work_.wait(lock, [this] { return stop_ || HasWork(); });
      continue;
    }
    busy_ = true;
    const bool written = WriteAll(lock);
    busy_ = false;
    if (written) continue;
    KeepJournal();
    pause = std::clamp(2 * pause, kShortestPause, kLongestPause);
    work_.wait_for(lock, hurry_ ? kShortestPause : pause, [this, was = hurry_] {
      return stop_ || hurry_ != was;
    });
  }
}

// Writes all that waits, unlocked meanwhile. False when the database did not take some of it; what
// it takes is written all the same: a status that is refused holds no recording up.
bool RowWriter::WriteAll(std::unique_lock<std::mutex>& lock) {
  bool written = statuses_.empty() || WriteStatus(lock);
  if (reload_) written = LoadCamera(lock) && written;
  bool rows_written = true;
  for (Entry* entry = NextDirty(); entry != nullptr && rows_written; entry = NextDirty())
    rows_written = WriteRow(lock, *entry);
  written = written && rows_written;
  if (written) return true;
  lock.unlock();
  const bool answers = DatabaseAnswers();
  lock.lock();
  trouble_.Begin("camera " + std::to_string(camera_id_) + ": the database does not " +
                 (answers ? "take every row" : "answer") +
                 "; recording goes on, rows will be written later");
  return false;
}

bool RowWriter::WriteStatus(std::unique_lock<std::mutex>& lock) {
  const DAEMON_STATUS status = statuses_.front();
  lock.unlock();
  const bool written = DatabaseAnswers() && DaemonReport(camera_id_).ReportStatus(status) == 0;
  lock.lock();
  if (written) statuses_.pop_front();
  return written;
}

bool RowWriter::LoadCamera(std::unique_lock<std::mutex>& lock) {
  lock.unlock();
  CameraRecord record;
  const bool loaded = LoadRecord(camera_id_, record);
  const bool answers = loaded || DatabaseAnswers();
  lock.lock();
  // A record that is gone cannot be taken over: the daemon goes on with the one it has.
  if (loaded) reloaded_ = record;
  if (answers) reload_ = false;
  return answers;
}

bool RowWriter::WriteRow(std::unique_lock<std::mutex>& lock, Entry& entry) {
  const RecordingRow row = entry.row;
  const std::uint64_t revision = entry.revision;
  int id = entry.id;
  bool insert_tried = entry.insert_tried;
  lock.unlock();
  const bool written = Store(row, id, insert_tried);
  lock.lock();
  entry.id = id;
  entry.insert_tried = insert_tried;
  if (!written) return false;
  entry.written = revision;
  if (row.finished && entry.revision == revision) entries_.erase(row.path);
  return true;
}

void RowWriter::KeepJournal() {
  std::vector<RecordingRow> rows;
  for (const auto& [path, entry] : entries_) {
    if (entry.written != entry.revision) rows.push_back(entry.row);
  }
  journal_.Save(rows);
  journal_kept_ = !rows.empty();
}

}  // namespace wpd
