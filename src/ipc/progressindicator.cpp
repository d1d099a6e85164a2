#include "ipc/progressindicator.h"

#include <fcntl.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "base/diagnostics_internal.h"
#include "base/uniquefd.h"
#include "base/utils.h"
#include "ipc/sharedword_internal.h"

namespace {

constexpr char kLogSource[] = "progressindicator";
constexpr char kKeyFile[] = "/tmp/progress-";
constexpr int kProject = 98;
constexpr std::size_t kSize = 4;
constexpr int kOwnerOnly = 0600;

}  // namespace

ProgressIndicator::ProgressIndicator(long long identifier, bool writer) noexcept
    : identifier_(identifier), writer_(writer) {}

ProgressIndicator::~ProgressIndicator() {
  (void)ShmRelease();  // what failed is in the log
}

int ProgressIndicator::Get() noexcept {
  if (value_ == nullptr && ShmGet() != 0) return -1;
  return watchpost::LoadShared(*value_);
}

int ProgressIndicator::Set(int value) noexcept {
  if (!writer_) {
    WP_LOG("Not initiated for write");
    return -1;
  }
  if (value_ == nullptr && ShmGet() != 0) return -1;
  watchpost::StoreShared(*value_, value);
  return 0;
}

std::string ProgressIndicator::strTmpPath() const {
  return kKeyFile + itos(identifier_);
}

int ProgressIndicator::KeyFileCreate() const noexcept {
  // Not through a link that somebody else put there: /tmp is everybody's.
  const int flags = O_RDONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
  const watchpost::UniqueFd fd(open(strTmpPath().c_str(), flags, kOwnerOnly));
  return fd.IsValid() ? 0 : -1;
}

int ProgressIndicator::KeyFileRemove() const noexcept {
  return unlink(strTmpPath().c_str());
}

int ProgressIndicator::ShmGet() noexcept {
  const std::string path = strTmpPath();
  int flags = kOwnerOnly;
  if (writer_) {
    if (KeyFileCreate() != 0) {
      WP_LOG("Failed to create temp file %s: %s", path.c_str(), strerror(errno));
      return -1;
    }
    flags |= IPC_CREAT;
  } else {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return -1;
  }
  segment_id_ = shmget(ftok(path.c_str(), kProject), kSize, flags);
  if (segment_id_ < 0) {
    WP_LOG("shmget failed: %s", strerror(errno));
    return -1;
  }
  void* address = shmat(segment_id_, nullptr, 0);
  if (address == nullptr) {
    WP_LOG("shmat failed: %s", strerror(errno));
    return -1;
  }
  // A failure of shmat's own is not logged, but must not be written to either.
  if (address == reinterpret_cast<void*>(-1)) return -1;
  value_ = static_cast<std::int32_t*>(address);
  return 0;
}

int ProgressIndicator::ShmRelease() noexcept {
  if (value_ == nullptr) return -1;
  if (shmdt(value_) != 0) {
    WP_LOG("%s", strerror(errno));
    return -1;
  }
  value_ = nullptr;
  if (!writer_) return 0;
  if (shmctl(segment_id_, IPC_RMID, nullptr) != 0) {
    WP_LOG("release %d: %s", segment_id_, strerror(errno));
    return -1;
  }
  if (KeyFileRemove() != 0) {
    WP_LOG("%s", strerror(errno));
    return -1;
  }
  return 0;
}
