#include "foldermove.h"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <watchpost/base/uniquefd.h>
#include <watchpost/event/camerafolder.h>
#include <watchpost/event/eventstore.h>
#include <watchpost/event/recordingfile.h>
#include <watchpost/event/recordingrepair.h>
#include <watchpost/platform/orvaea.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>

#include "filecopy.h"
#include "ownrecordings.h"
#include "progress.h"

namespace wpctl {
namespace {

namespace fs = std::filesystem;

// The folder of a recording's motion log.
fs::path LogOf(const fs::path& recording) {
  return recording.parent_path() / watchpost::kStreamFolder / recording.filename();
}

bool IsThere(const fs::path& path) {
  std::error_code failure;
  return fs::exists(fs::symlink_status(path, failure));
}

// The mover's state, while the recordings of one camera go from one folder to the other.
class Mover {
 public:
  Mover(const Camera& camera, std::string from, FolderMove& move, std::string& error)
      : camera_(camera),
        from_(std::move(from)),
        to_(camera.GetStoragePath()),
        half_moved_(watchpost::HalfMovedFile(to_)),
        move_(move),
        error_(error) {
    for (const std::string& name : watchpost::NotedRecordings(from_, camera.GetId()))
      noted_.insert(name);
  }

  bool Run(const std::set<std::string>& names) {
    double total = 0;
    for (const std::string& name : names) total += SizeOf(name);
    for (const std::string& name : names) {
      const double size = SizeOf(name);
      const auto show = [&](double bytes) {
        progress_.Show(total > 0 ? (done_ + bytes) / total : 0, name);
      };
      show(0);
      if (!MoveRecording(name, show)) return false;
      done_ += size;
      ++move_.moved;
    }
    RemoveOldLogs();
    return true;
  }

 private:
  [[nodiscard]] double SizeOf(const std::string& name) const {
    std::error_code failure;
    const auto size = fs::file_size(from_ / fs::path(name), failure);
    return failure ? 0 : static_cast<double>(size);
  }

  bool Fail(const fs::path& path) {
    error_ = "cannot move " + path.string() + ": " + strerror(errno);
    return false;
  }

  bool MoveRecording(const std::string& name, const CopyProgress& show) {
    const fs::path source = from_ / fs::path(name);
    std::string target_name = name;
    if (IsThere(to_ / fs::path(name))) {
      // Cut short between the copy and the removal of what was copied, or another of that name.
      if (HaveSameContents(source, to_ / fs::path(name))) return RemoveSource(source, name);
      target_name = FreeName(name);
      move_.renamed.push_back(name + " is " + target_name + " now");
    }
    const fs::path target = to_ / fs::path(target_name);
    std::error_code failure;
    fs::create_directories(target.parent_path(), failure);
    // A row that is wrong after a crash is found by its note.
    if (noted_.contains(name))
      (void)watchpost::NoteRecording(to_, camera_.GetId(), target_name);  // it may be there
    if (!MoveLog(source, target)) return Fail(LogOf(source));
    if (!MoveFile(source, target, half_moved_, show)) return Fail(source);
    if (target_name != name && !AddRow(name, target_name, target)) {
      error_ = "the database did not take the row of " + target.string();
      return false;
    }
    return RemoveSource(source, name);
  }

  // Removes what a copy left behind, the note last.
  bool RemoveSource(const fs::path& source, const std::string& name) {
    if (unlink(source.c_str()) != 0 && errno != ENOENT) return Fail(source);
    (void)ORVAEARemove(source.c_str());  // it may be gone
    watchpost::ForgetRecording(from_, camera_.GetId(), name);
    return true;
  }

  static bool MoveLog(const fs::path& source, const fs::path& target) {
    (void)ORVAEARemove(target.c_str());  // half of one, from a move that was cut short
    const fs::path from = LogOf(source);
    const fs::path to = LogOf(target);
    if (!IsThere(from)) return true;
    std::error_code failure;
    fs::create_directories(to.parent_path(), failure);
    if (std::rename(from.c_str(), to.c_str()) == 0) return true;
    if (errno != EXDEV) return false;
    fs::copy(from, to, fs::copy_options::recursive, failure);
    errno = failure.value();
    return !failure;
  }

  // Such a name as a recorder would give.
  [[nodiscard]] std::string FreeName(const std::string& name) const {
    const fs::path path(name);
    for (int number = 2;; ++number) {
      std::string fresh =
          (path.parent_path() / path.stem()).string() + "-" + std::to_string(number) + ".avi";
      if (!IsThere(to_ / fs::path(fresh)) && !IsThere(from_ / fs::path(fresh))) return fresh;
    }
  }

  // The row of the old name is the other file's by now: its writer has found and taken it.
  bool AddRow(const std::string& name, const std::string& target_name, const fs::path& target) {
    Event old;
    Event row(camera_.GetId(), 0, 0, EVENT_CAUSE_CONTINUOUS, target_name);
    if (watchpost::FindEvent(camera_.GetId(), name, old) == watchpost::StoreResult::kDone) {
      row.SetCause(old.GetCause());
      row.SetArchive(old.GetArchived());
    }
    watchpost::AviContents contents;
    if (watchpost::InspectAvi(target.c_str(), contents) != watchpost::kAviFinished) return true;
    watchpost::DescribeRecording(target, contents, true, row);
    return watchpost::InsertEvent(row) != watchpost::StoreResult::kFailed;
  }

  // Motion logs whose recordings went, of a move that was cut short in between.
  void RemoveOldLogs() {
    std::vector<fs::path> moved;
    std::error_code failure;
    for (fs::directory_iterator entry(from_ / fs::path(watchpost::kStreamFolder), failure), end;
         !failure && entry != end;
         entry.increment(failure)) {
      const fs::path name = entry->path().filename();
      if (!IsThere(from_ / name) && IsThere(LogOf(to_ / name))) moved.push_back(from_ / name);
    }
    for (const fs::path& recording : moved) (void)ORVAEARemove(recording.c_str());  // or it stays
  }

  const Camera& camera_;
  const std::string from_;
  const std::string to_;
  const std::string half_moved_;
  FolderMove& move_;
  std::string& error_;
  std::set<std::string> noted_;  // whose rows do not say how they ended
  Progress progress_{true};
  double done_ = 0;  // bytes
};

// A folder that is being moved from has its mark until the end: without it the disk is away.
bool IsMounted(const Camera& camera, const std::string& folder) {
  Camera there = camera;
  there.SetStoragePath(folder);
  return watchpost::ExamineCameraFolder(there) == watchpost::FolderState::kReady;
}

bool Mark(const Camera& camera, const std::string& folder, std::string& error) {
  Camera there = camera;
  there.SetStoragePath(folder);
  return watchpost::ClaimCameraFolder(there, error);
}

// Whether every row's file is in the camera's folder.
bool HasAllFiles(const Camera& camera) {
  const auto events = watchpost::ReadEvents(camera.GetId());
  return events && std::all_of(events->begin(), events->end(), [&](const Event& event) {
           const auto path = watchpost::RecordingPath(camera, event);
           return !path || IsThere(*path);
         });
}

}  // namespace

bool BeginMove(Camera& camera, const std::string& from, std::string& error) {
  const std::string to = camera.GetStoragePath();
  if (!Mark(camera, from, error)) return false;
  const bool noted = !watchpost::UnfinishedMoveFrom(to).empty();
  if (!noted && !watchpost::BeginFolderMove(to, from, error)) return false;
  if (camera.Update() == 0) return Mark(camera, to, error);
  error = "the database did not take the change";
  watchpost::EndFolderMove(to);
  (void)rmdir((to + "/" + watchpost::kMarkFolder).c_str());  // what is not empty stays
  (void)rmdir(to.c_str());
  return false;
}

bool FinishMove(const Camera& camera, FolderMove& move, std::string& error) {
  const std::string to = camera.GetStoragePath();
  const std::string from = watchpost::UnfinishedMoveFrom(to);
  if (!IsMounted(camera, from)) {
    // It may have been cut short when the old folder had just gone.
    if (HasAllFiles(camera)) {
      watchpost::EndFolderMove(to);
      return true;
    }
    error = watchpost::MissingFolderText(from);
    return false;
  }
  const auto names = OwnRecordings(camera, from, false);
  if (!names) {
    error = "the database could not be read";
    return false;
  }
  for (const std::string& folder : {to, from})
    (void)unlink(watchpost::HalfMovedFile(folder).c_str());  // there may be none
  if (!Mover(camera, from, move, error).Run(*names)) return false;
  if (!IsSharedFolder(camera, from)) {
    Camera old = camera;
    old.SetStoragePath(from);
    watchpost::ReleaseCameraFolder(old);
  }
  if (watchpost::UnfinishedMoveFrom(from) == to) watchpost::EndFolderMove(from);  // taken back
  move.left = RemoveIfEmpty(from);
  watchpost::EndFolderMove(to);
  return true;
}

bool HasUnfinishedMove(const Camera& camera, std::string& what) {
  const std::string to = camera.GetStoragePath();
  const std::string from = watchpost::UnfinishedMoveFrom(to);
  if (from.empty()) return false;
  what = "the move of the recordings of camera " + std::to_string(camera.GetId()) + " from " +
         from + " is not finished; \"wpctl camera set " + std::to_string(camera.GetId()) +
         " --folder " + to + "\" goes on, with " + from + " it is taken back";
  return true;
}

bool TakesMoveBack(const Camera& camera, const std::string& folder) {
  return watchpost::UnfinishedMoveFrom(camera.GetStoragePath()) == folder;
}

}  // namespace wpctl
