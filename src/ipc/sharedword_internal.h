// Words that one process writes while others read them. Process-shared.
#pragma once

#include <atomic>
#include <cstdint>

namespace watchpost {

static_assert(std::atomic_ref<std::int32_t>::is_always_lock_free,
              "a lock inside the process would not order other processes");

inline std::int32_t LoadShared(const std::int32_t& word) noexcept {
  // atomic_ref of a const type came after C++20; nothing is written here.
  return std::atomic_ref<std::int32_t>(const_cast<std::int32_t&>(word))
      .load(std::memory_order_acquire);
}

inline void StoreShared(std::int32_t& word, std::int32_t value) noexcept {
  std::atomic_ref<std::int32_t>(word).store(value, std::memory_order_release);
}

}  // namespace watchpost
