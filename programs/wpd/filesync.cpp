#include "filesync.h"

#include <fcntl.h>
#include <unistd.h>
#include <watchpost/platform/unique_fd.h>

#include <utility>

namespace wpd {
namespace {

void Sync(const std::string& path) {
  const watchpost::UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.IsValid()) (void)fdatasync(fd.Get());  // a disk that fails shows when it is written to
}

}  // namespace

void FileSync::Start() {
  thread_.Start([this] { Run(); });
}

void FileSync::Follow(const std::string& path) {
  const std::lock_guard lock(mutex_);
  open_.insert(path);
}

void FileSync::Release(const std::string& path) {
  {
    const std::lock_guard lock(mutex_);
    open_.erase(path);
    finished_.insert(path);
  }
  wake_.notify_one();
}

bool FileSync::Stop(std::chrono::milliseconds limit) {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  return thread_.Join(limit);
}

void FileSync::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    (void)wake_.wait_for(lock, interval_, [this] { return stop_ || !finished_.empty(); });
    std::set<std::string> paths = std::exchange(finished_, {});
    if (stop_ && paths.empty()) break;
    paths.insert(open_.begin(), open_.end());
    lock.unlock();
    for (const std::string& path : paths) Sync(path);
    lock.lock();
  }
}

}  // namespace wpd
