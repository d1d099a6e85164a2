#include "event/camerafolder.h"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "base/paths.h"
#include "base/uniquefd.h"
#include "event/recordingfile.h"

namespace watchpost {
namespace {

constexpr char kMoveNote[] = "/moving-from";
constexpr char kHalfMoved[] = "/moving";
constexpr int kOldNote = 60;  // seconds

std::string MarkOf(const std::string& folder) {
  return folder + "/" + kMarkFolder;
}

std::string PrefixOf(int camera_id) {
  return std::to_string(camera_id) + "-";
}

std::string NoteOf(const std::string& folder, int camera_id, const std::string& name) {
  return MarkOf(folder) + "/" + PrefixOf(camera_id) + name;
}

bool IsDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The folder that this machine has marked for the camera; empty when it remembers none.
std::string RememberedFolder(int camera_id) {
  std::ifstream file(DaemonFolderFile(camera_id));
  std::string folder;
  (void)std::getline(file, folder);  // stays empty
  return folder;
}

void Remember(int camera_id, const std::string& folder) {
  const std::string path = DaemonFolderFile(camera_id);
  std::error_code failure;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), failure);
  std::ofstream(path, std::ios::trunc) << folder << '\n';  // without it the folder is kUnknown
}

bool SyncFolder(const std::string& folder) {
  const UniqueFd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return fd.IsValid() && fsync(fd.Get()) == 0;
}

bool WriteSynced(const std::string& path, const std::string& text) {
  const UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  return fd.IsValid() &&
         write(fd.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
         fsync(fd.Get()) == 0;
}

bool IsOld(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && status.st_mtime + kOldNote < std::time(nullptr);
}

}  // namespace

FolderState ExamineCameraFolder(const Camera& camera) {
  const std::string folder = camera.GetStoragePath();
  if (!IsDirectory(folder)) return FolderState::kMissing;
  if (IsMarkedFolder(folder)) return FolderState::kReady;
  return RememberedFolder(camera.GetId()) == folder ? FolderState::kMissing : FolderState::kUnknown;
}

bool IsMarkedFolder(const std::string& folder) {
  return IsDirectory(MarkOf(folder));
}

bool ClaimCameraFolder(const Camera& camera, std::string& error) {
  const std::string folder = camera.GetStoragePath();
  std::error_code failure;
  std::filesystem::create_directories(MarkOf(folder), failure);
  if (failure) {
    error = "cannot make " + folder + ": " + failure.message();
    return false;
  }
  if (camera.IsSaved()) Remember(camera.GetId(), folder);
  return true;
}

void ReleaseCameraFolder(const Camera& camera) {
  std::error_code failure;
  std::filesystem::remove_all(MarkOf(camera.GetStoragePath()), failure);  // it may be missing
  if (RememberedFolder(camera.GetId()) == camera.GetStoragePath())
    (void)unlink(DaemonFolderFile(camera.GetId()).c_str());
}

bool BeginFolderMove(const std::string& to, const std::string& from, std::string& error) {
  const std::string note = MarkOf(to) + kMoveNote;
  std::error_code failure;
  std::filesystem::create_directories(MarkOf(to), failure);
  // Renamed into place: a note that is there is whole.
  const std::string fresh = note + ".new";
  if (!failure && WriteSynced(fresh, from + "\n") &&
      std::rename(fresh.c_str(), note.c_str()) == 0 && SyncFolder(MarkOf(to)) && SyncFolder(to)) {
    return true;
  }
  error = "cannot write " + note + ": " + (failure ? failure.message() : strerror(errno));
  return false;
}

std::string UnfinishedMoveFrom(const std::string& folder) {
  std::ifstream file(MarkOf(folder) + kMoveNote);
  std::string from;
  (void)std::getline(file, from);  // stays empty
  return from;
}

std::string HalfMovedFile(const std::string& folder) {
  return MarkOf(folder) + kHalfMoved;
}

void EndFolderMove(const std::string& to) {
  (void)unlink(HalfMovedFile(to).c_str());         // there may be none
  (void)unlink((MarkOf(to) + kMoveNote).c_str());  // likewise
  (void)SyncFolder(MarkOf(to));                    // at worst the move is found finished once more
}

bool NoteRecording(const std::string& folder, int camera_id, const std::string& name) {
  const std::string note = NoteOf(folder, camera_id, name);
  return UniqueFd(open(note.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644)).IsValid();
}

std::string CreateRecording(const Camera& camera, time_t when, std::string& error) {
  constexpr int kMostNamesakes = 1000;
  const std::string folder = camera.GetStoragePath();
  const int id = camera.GetId();
  std::string path;
  for (int number = 1; number < kMostNamesakes; ++number) {
    std::string name = RecordingName(camera.GetFilenamePrefix(), when, number);
    path = JoinRecordingPath(folder, name);
    bool created = NoteRecording(folder, id, name);
    if (!created && errno == EEXIST) continue;
    if (created) {
      const UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
      created = fd.IsValid();
    }
    if (created) return name;
    const int failure = errno;
    ForgetRecording(folder, id, name);
    if (failure == EEXIST) continue;
    error = "cannot create " + path + ": " + strerror(failure);
    return "";
  }
  error = "cannot create " + path + ": too many files of that name";
  return "";
}

bool ForgetRecording(const std::string& folder, int camera_id, const std::string& name) {
  return unlink(NoteOf(folder, camera_id, name).c_str()) == 0 ||
         (errno == ENOENT && IsMarkedFolder(folder));
}

std::vector<std::string> NotedRecordings(const std::string& folder, int camera_id) {
  const std::string prefix = PrefixOf(camera_id);
  std::vector<std::string> names;
  std::error_code failure;
  for (std::filesystem::directory_iterator entry(MarkOf(folder), failure), end;
       !failure && entry != end;
       entry.increment(failure)) {
    const std::string note = entry->path().filename();
    if (!note.starts_with(prefix)) continue;
    const std::string name = note.substr(prefix.size());
    if (access(JoinRecordingPath(folder, name).c_str(), F_OK) == 0)
      names.push_back(name);
    else if (IsOld(entry->path()))
      ForgetRecording(folder, camera_id, name);
  }
  return names;
}

}  // namespace watchpost
