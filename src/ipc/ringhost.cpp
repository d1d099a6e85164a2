#include "ipc/ringhost.h"

#include <string.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <utility>

#include "ipc/semaphore_internal.h"

namespace watchpost {
namespace {

// Whether process `pid` has segment `id` attached; the kernel shows segments as files.
bool IsAttachedTo(pid_t pid, int id) {
  std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
  for (std::string line; std::getline(maps, line);) {
    char name[64] = "";
    std::uint64_t inode = 0;
    if (std::sscanf(line.c_str(), "%*s %*s %*s %*s %" SCNu64 " %63s", &inode, name) != 2) continue;
    if (inode == static_cast<std::uint64_t>(id) && std::string(name).starts_with("/SYSV"))
      return true;
  }
  return false;
}

// Removes the segment under the key. False when it belongs to a living process.
bool RemoveSegment(key_t key, std::string& error) {
  const int id = shmget(key, 0, 0);
  if (id < 0) return true;
  shmid_ds status{};
  if (shmctl(id, IPC_STAT, &status) == 0 && status.shm_cpid != getpid() &&
      IsAttachedTo(status.shm_cpid, id)) {
    error = "process " + std::to_string(status.shm_cpid) + " keeps a ring under the same key";
    return false;
  }
  const ShmAttachment old(id);
  if (old.Get() != nullptr && old.Size() >= sizeof(RingBuffer))
    (void)static_cast<RingBuffer*>(old.Get())->ConnStatusSet(CAM_CONN_NONE);  // cannot fail
  (void)shmctl(id, IPC_RMID, nullptr);  // failing shows in the creation
  return true;
}

// Id 0 included, which the ring's own clearing leaves. Readers who wait are woken.
void RemoveSemaphores(key_t key) {
  const int id = semget(key, 0, 0);
  if (id >= 0) (void)semctl(id, 0, IPC_RMID);  // failing shows in the creation
}

}  // namespace

std::unique_ptr<RingHost> RingHost::Create(int camera_id, int segment_size, std::string& error) {
  const key_t key = IPCKeyFromCameraId(camera_id);
  if (!RemoveSegment(key, error)) return nullptr;
  RemoveSemaphores(key);
  ShmSegment segment(key, static_cast<std::size_t>(segment_size));
  if (segment.Id() < 0) {
    error = std::string("cannot create shared memory: ") + strerror(errno);
    return nullptr;
  }
  ShmAttachment attachment(segment.Id());
  if (attachment.Get() == nullptr) {
    error = std::string("cannot attach shared memory: ") + strerror(errno);
    return nullptr;
  }
  std::unique_ptr<RingHost> host(new RingHost(std::move(segment), std::move(attachment)));
  if (host->Ring().Init(camera_id, segment_size) != 0) {
    error =
        "cannot make semaphores: /proc/sys/kernel/sem has to be writable (root), and rings are to "
        "be of one size and sixteen at most";
    return nullptr;
  }
  host->has_semaphores_ = true;
  return host;
}

bool RingHost::HasReaders() const noexcept {
  shmid_ds status{};
  return shmctl(segment_.Id(), IPC_STAT, &status) != 0 || status.shm_nattch > 1;
}

RingHost::Published RingHost::Publish(const unsigned char* frame, int size) noexcept {
  constexpr std::chrono::milliseconds kLongestWait{20};
  const ScopedWaitLimit limit(kLongestWait);
  DataUnit* unit = Ring().WriteAlloc(size);
  if (unit == nullptr) return limit.HasExpired() ? Published::kStuck : Published::kFull;
  std::memcpy(unit->Payload(), frame, static_cast<std::size_t>(size));
  (void)Ring().WriteFinish(unit);  // not null
  return limit.HasExpired() ? Published::kStuck : Published::kDone;
}

RingHost::~RingHost() {
  (void)Ring().ConnStatusSet(CAM_CONN_NONE);    // cannot fail
  if (has_semaphores_) (void)Ring().Destroy();  // what failed is in the log
}

}  // namespace watchpost
