#include "filesync.h"

#include <fcntl.h>
#include <unistd.h>
#include <watchpost/base/uniquefd.h>

#include <utility>

namespace wpd {
namespace {

using watchpost::MutexLock;

void Sync(const std::set<std::string>& paths) {
  for (const std::string& path : paths) {
    const watchpost::UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.IsValid()) (void)fdatasync(fd.Get());  // a disk that fails shows when it is written to
  }
}

}  // namespace

void FileSync::Follow(const std::string& path) {
  const MutexLock lock(mutex_);
  open_.insert(path);
}

void FileSync::Release(const std::string& path) {
  {
    const MutexLock lock(mutex_);
    open_.erase(path);
    finished_.insert(path);
  }
  thread_.Wake();
}

std::optional<WorkerThread::Clock::duration> FileSync::DoWork() {
  std::set<std::string> paths;
  {
    const MutexLock lock(mutex_);
    paths = std::exchange(finished_, {});
    paths.insert(open_.begin(), open_.end());
  }
  Sync(paths);
  return interval_;
}

void FileSync::AtEnd() {
  std::set<std::string> paths;
  {
    const MutexLock lock(mutex_);
    paths = std::exchange(finished_, {});
  }
  Sync(paths);
}

}  // namespace wpd
