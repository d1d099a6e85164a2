// Owners of System V shared memory.
#pragma once

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstddef>
#include <utility>

namespace watchpost {

/// An attached segment; detaches it.
class ShmAttachment {
 public:
  ShmAttachment() = default;
  /// Attaches segment `id` for reading and writing. Get() is null when that failed.
  explicit ShmAttachment(int id) noexcept {
    shmid_ds status{};
    if (id < 0 || shmctl(id, IPC_STAT, &status) != 0) return;
    void* address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) return;
    address_ = address;
    size_ = status.shm_segsz;
  }
  ~ShmAttachment() { Reset(); }
  ShmAttachment(ShmAttachment&& other) noexcept
      : address_(std::exchange(other.address_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  ShmAttachment& operator=(ShmAttachment&& other) noexcept {
    if (this == &other) return *this;
    Reset();
    address_ = std::exchange(other.address_, nullptr);
    size_ = std::exchange(other.size_, 0);
    return *this;
  }

  [[nodiscard]] void* Get() const noexcept { return address_; }
  [[nodiscard]] std::size_t Size() const noexcept { return size_; }

  /// Gives the address away: whoever has it detaches it.
  [[nodiscard]] void* Release() noexcept { return std::exchange(address_, nullptr); }

  void Reset() noexcept {
    if (address_ != nullptr) (void)shmdt(std::exchange(address_, nullptr));
  }

 private:
  void* address_ = nullptr;
  std::size_t size_ = 0;
};

/// A segment that this process created; removes it, which leaves it to those who are attached.
class ShmSegment {
 public:
  ShmSegment() = default;
  /// Creates a segment that must not exist yet. On failure Id() is -1 and errno is set.
  ShmSegment(key_t key, std::size_t size) noexcept
      : id_(shmget(key, size, IPC_CREAT | IPC_EXCL | 0600)) {}
  ~ShmSegment() { Reset(); }
  ShmSegment(ShmSegment&& other) noexcept : id_(std::exchange(other.id_, -1)) {}
  ShmSegment& operator=(ShmSegment&& other) noexcept {
    if (this == &other) return *this;
    Reset();
    id_ = std::exchange(other.id_, -1);
    return *this;
  }

  [[nodiscard]] int Id() const noexcept { return id_; }

  void Reset() noexcept {
    if (id_ >= 0) (void)shmctl(std::exchange(id_, -1), IPC_RMID, nullptr);
  }

 private:
  int id_ = -1;
};

}  // namespace watchpost
