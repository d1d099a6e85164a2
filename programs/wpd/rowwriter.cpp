#include "rowwriter.h"

#include <unistd.h>
#include <watchpost/event/camerafolder.h>
#include <watchpost/event/eventstore.h>
#include <watchpost/event/recordingfile.h>

#include <cerrno>
#include <filesystem>
#include <utility>
#include <vector>

namespace wpd {
namespace {

bool IsDeleted(const std::string& file) {
  return access(file.c_str(), F_OK) != 0 && errno == ENOENT &&
         watchpost::IsMarkedFolder(std::filesystem::path(file).parent_path());
}

}  // namespace

using watchpost::MutexLock;
using watchpost::StoreResult;

RowWriter::RowWriter(int camera_id, const std::string& folder, DatabaseWorker& worker)
    : journal_(camera_id), worker_(worker) {
  const MutexLock lock(mutex_);
  for (Event& row : journal_.Load()) {
    Entry entry;
    entry.finished = true;  // whoever wrote it is gone
    entry.noted = true;     // but not the file, perhaps
    entry.file = watchpost::JoinRecordingPath(folder, row.GetPath());
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
    entry.noted = false;
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
    row.SetID(0);  // it is found again
    entry.row = std::move(row);
    entry.file = file;
    entry.finished = true;
    entry.noted = false;
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
    if (!written) return false;
    kept.written = entry.revision;
    if (!done_.empty()) RemoveNotes();
    if (!kept.finished || kept.written != kept.revision) continue;
    if (!kept.noted) done_.push_back(std::move(kept));
    entries_.erase(entry.row.GetPath());
    RemoveNotes();
  }
}

// Those on a disk that is not mounted at the moment go with a later row.
void RowWriter::RemoveNotes() {
  std::erase_if(done_, [](const Entry& entry) {
    const std::string folder = std::filesystem::path(entry.file).parent_path();
    return watchpost::ForgetRecording(folder, entry.row.GetCameraID(), entry.row.GetPath());
  });
}

// Whether the row is in the database as it should be, or nowhere because its file has gone.
bool RowWriter::Store(Entry& entry) {
  Event& row = entry.row;
  if (row.IsSaved()) {
    const StoreResult updated = watchpost::UpdateGrowth(row);
    if (updated != StoreResult::kNoRow) return updated == StoreResult::kDone;
    row.SetID(0);
  }
  // Without a row: none was made yet, or somebody deleted it. With its file that is final; else the
  // recording needs one: making room takes the rows of a whole second.
  if (IsDeleted(entry.file)) return true;
  const StoreResult inserted = watchpost::InsertEvent(row);
  if (inserted == StoreResult::kFound)
    return watchpost::UpdateGrowth(row) != StoreResult::kFailed;  // it may have gone again
  return inserted == StoreResult::kDone;
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
