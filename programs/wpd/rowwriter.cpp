#include "rowwriter.h"

#include <unistd.h>
#include <watchpost/event/eventstore.h>

#include <utility>
#include <vector>

namespace wpd {

using watchpost::MutexLock;
using watchpost::StoreResult;

RowWriter::RowWriter(int camera_id, DatabaseWorker& worker) : journal_(camera_id), worker_(worker) {
  const MutexLock lock(mutex_);
  for (Event& row : journal_.Load()) {
    Entry entry;
    entry.insert_tried = true;
    entry.finished = true;  // whoever wrote it is gone
    std::string path = row.GetPath();
    entry.row = std::move(row);
    entries_.emplace(std::move(path), std::move(entry));
    journal_kept_ = true;
  }
}

void RowWriter::Put(const Event& row, const std::string& file, bool finished) {
  {
    const MutexLock lock(mutex_);
    const auto [place, added] = entries_.try_emplace(row.GetPath());
    Entry& entry = place->second;
    const int id = entry.row.GetID();
    entry.row = row;
    entry.row.SetID(id);
    entry.file = file;
    entry.finished = finished;
    if (!added) ++entry.revision;
  }
  worker_.Wake();
}

void RowWriter::PutRecovered(Event row, const std::string& file) {
  {
    const MutexLock lock(mutex_);
    const auto [place, added] = entries_.try_emplace(row.GetPath());
    Entry& entry = place->second;
    if (!added) {
      row.SetStartTime(entry.row.GetStartTime());
      row.SetCause(entry.row.GetCause());
      ++entry.revision;
    }
    row.SetID(0);               // it is found again
    entry.insert_tried = true;  // the earlier daemon may have
    entry.row = std::move(row);
    entry.file = file;
    entry.finished = true;
  }
  worker_.Wake();
}

bool RowWriter::HasWork() {
  const MutexLock lock(mutex_);
  return NextDirty() != nullptr || journal_kept_;
}

RowWriter::Entry* RowWriter::NextDirty() {
  for (auto& [path, entry] : entries_) {
    if (entry.written != entry.revision) return &entry;
  }
  return nullptr;
}

// Writes all that waits, unlocked meanwhile, up to the first row that the database does not take.
bool RowWriter::DoWork() {
  for (;;) {
    Entry entry;
    {
      const MutexLock lock(mutex_);
      const Entry* next = NextDirty();
      if (next == nullptr) {
        if (std::exchange(journal_kept_, false)) journal_.Save({});
        return true;
      }
      entry = *next;
    }
    const bool written = Store(entry);
    const MutexLock lock(mutex_);
    Entry& kept = entries_.at(entry.row.GetPath());
    kept.row.SetID(entry.row.GetID());
    kept.insert_tried = entry.insert_tried;
    if (!written) return false;
    kept.written = entry.revision;
    if (kept.finished && kept.written == kept.revision) entries_.erase(entry.row.GetPath());
  }
}

// Whether the row is in the database as it should be, or nowhere because its file has gone.
bool RowWriter::Store(Entry& entry) {
  Event& row = entry.row;
  if (!row.IsSaved() && entry.insert_tried &&
      watchpost::FindInserted(row) == StoreResult::kFailed) {
    return false;
  }
  if (row.IsSaved()) {
    const StoreResult updated = watchpost::UpdateGrowth(row);
    if (updated != StoreResult::kNoRow) return updated == StoreResult::kDone;
    // Somebody deleted it. With its file that is final; without, the recording needs a row: making
    // room takes the rows of a whole second.
    row.SetID(0);
    if (entry.file.empty() || access(entry.file.c_str(), F_OK) != 0) return true;
  }
  entry.insert_tried = true;
  return watchpost::InsertEvent(row) == StoreResult::kDone;
}

void RowWriter::Keep() {
  const MutexLock lock(mutex_);
  std::vector<Event> rows;
  for (const auto& [path, entry] : entries_) {
    if (entry.written != entry.revision) rows.push_back(entry.row);
  }
  journal_.Save(rows);
  journal_kept_ = !rows.empty();
}

}  // namespace wpd
