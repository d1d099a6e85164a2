#include "ipc/dataunit.h"

#include <cstddef>
#include <type_traits>

#include "ipc/ringlayout.h"

using watchpost::ring::kUnitHeaderSize;

void DataUnit::AssertLayout() {
  static_assert(std::is_standard_layout_v<DataUnit> && std::is_trivially_copyable_v<DataUnit>);
  static_assert(sizeof(DataUnit) == kUnitHeaderSize);
  static_assert(offsetof(DataUnit, size_) == 0);
  static_assert(offsetof(DataUnit, lock_) == 4);
  static_assert(offsetof(DataUnit, sem_offset_) == 28);
  static_assert(offsetof(DataUnit, seconds_) == 32);
  static_assert(offsetof(DataUnit, microseconds_) == 36);
}

int DataUnit::Init(int size, int semSetId, int semOffset) noexcept {
  size_ = size;
  sem_offset_ = semOffset;
  return lock_.Init(semSetId, semOffset);
}

bool DataUnit::InitForWriting(int size, int semSetId, int semOffset) noexcept {
  size_ = size;
  sem_offset_ = semOffset;
  return lock_.InitForWriting(semSetId, semOffset);
}

int DataUnit::Destroy() noexcept {
  return lock_.Destroy();
}

int DataUnit::Lock() noexcept {
  return lock_.ReadLock();
}

int DataUnit::WrLock() noexcept {
  return lock_.TryWriteLock();
}

int DataUnit::ReadUnlock() noexcept {
  return lock_.ReadUnlock();
}

int DataUnit::WriteUnlock() noexcept {
  return lock_.WriteUnlock();
}

int DataUnit::UnitSize() const noexcept {
  return watchpost::ring::UnitSize(size_);
}

void DataUnit::SetTimestamp() noexcept {
  timeval now{};
  (void)gettimeofday(&now, nullptr);  // cannot fail with these arguments
  seconds_ = static_cast<std::int32_t>(now.tv_sec);
  microseconds_ = static_cast<std::int32_t>(now.tv_usec);
}

timeval DataUnit::GetTimestamp() const noexcept {
  timeval stamp{};
  stamp.tv_sec = static_cast<std::uint32_t>(seconds_);
  stamp.tv_usec = microseconds_;
  return stamp;
}

DataUnit* DataUnit::Next() noexcept {
  return reinterpret_cast<DataUnit*>(reinterpret_cast<unsigned char*>(this) + UnitSize());
}

DataUnit* DataUnit::FromDataAddr(unsigned char* payload) noexcept {
  return reinterpret_cast<DataUnit*>(payload - kUnitHeaderSize);
}

unsigned char* DataUnit::Payload() noexcept {
  return reinterpret_cast<unsigned char*>(this) + kUnitHeaderSize;
}

const unsigned char* DataUnit::Payload() const noexcept {
  return reinterpret_cast<const unsigned char*>(this) + kUnitHeaderSize;
}
