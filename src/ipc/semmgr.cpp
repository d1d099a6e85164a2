#include "ipc/semmgr.h"

#include <fcntl.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <type_traits>

#include "base/diagnostics_internal.h"
#include "base/uniquefd.h"
#include "ipc/ringlayout.h"
#include "ipc/sharedword_internal.h"

namespace {

using watchpost::LoadShared;
using watchpost::StoreShared;
using watchpost::ring::kGroup;

constexpr char kLogSource[] = "semmgr";
constexpr char kLimits[] = "/proc/sys/kernel/sem";
constexpr int kSetsInAll = 16;
constexpr int kOwnerOnly = 0700;

// The first two of the kernel's four limits; the others keep their values. 0, or an errno.
int WriteLimits(int count) {
  const std::string line = std::to_string(count) + " " +
                           std::to_string(static_cast<long long>(count) * kSetsInAll) + "\n";
  const watchpost::UniqueFd fd(open(kLimits, O_WRONLY | O_CLOEXEC));
  if (!fd.IsValid()) return errno;
  return write(fd.Get(), line.data(), line.size()) == static_cast<ssize_t>(line.size()) ? 0 : errno;
}

}  // namespace

int IPCKeyFromCameraId(int cameraId) noexcept {
  return (cameraId & 0xFFFF) | 0x18140000;
}

void SemMgr::AssertLayout() {
  static_assert(std::is_standard_layout_v<SemMgr> && std::is_trivially_copyable_v<SemMgr>);
  static_assert(sizeof(SemMgr) == 16);
  static_assert(offsetof(SemMgr, set_id_) == 0);
  static_assert(offsetof(SemMgr, count_) == 4);
  static_assert(offsetof(SemMgr, allocated_) == 8);
  static_assert(offsetof(SemMgr, offset_) == 12);
}

int SemMgr::Init(int cameraId, int count) noexcept {
  // As limits these would keep the whole machine from making sets.
  if (count <= 0) {
    errno = EINVAL;
    WP_LOG("semget: %s", strerror(errno));
    return -1;
  }
  if (const int error = WriteLimits(count); error != 0) {
    WP_LOG("Failed to set sem limit %d\n", error);
    return -1;
  }
  const key_t key = IPCKeyFromCameraId(cameraId);
  const int stale = semget(key, 0, kOwnerOnly);
  // A stale set whose id is 0 stays, as everybody expects of this test; who creates a ring clears
  // it before.
  if (stale > 0) (void)semctl(stale, 0, IPC_RMID);  // failing shows in the exclusive creation
  const int id = semget(key, count, IPC_CREAT | IPC_EXCL | kOwnerOnly);
  if (id == -1) {
    WP_LOG("semget: %s", strerror(errno));
    return -1;
  }
  set_id_ = id;
  count_ = count;
  allocated_ = 0;
  offset_ = 0;
  return 0;
}

int SemMgr::Get() noexcept {
  if (count_ - allocated_ < kGroup) {
    WP_LOG("Semaphore unavailable");
    WP_LOG("count %d allocated %d offset %d", count_, allocated_, offset_);
    return -1;
  }
  const int first = (offset_ + allocated_) % count_;
  StoreShared(allocated_, allocated_ + kGroup);
  return first;
}

int SemMgr::Free(int first) noexcept {
  if (first != offset_) return -1;
  StoreShared(allocated_, allocated_ - kGroup);
  StoreShared(offset_, (offset_ + kGroup) % count_);
  return 0;
}

void SemMgr::TakeBack() noexcept {
  StoreShared(allocated_, allocated_ - kGroup);
}

int SemMgr::Destroy() noexcept {
  if (semctl(set_id_, 0, IPC_RMID) == 0) return 0;
  WP_LOG("Failed to delete semaphore set");
  return -1;
}

int SemMgr::SemSetId() const noexcept {
  return set_id_;
}

int SemMgr::OldestGroup() const noexcept {
  return LoadShared(offset_);
}
