#include "platform/olibszhash.h"

#include <new>
#include <string>
#include <unordered_map>

struct OLIBSZHASH {
  std::unordered_map<std::string, std::string> values;
};

OLIBSZHASH* PshOLIBSzHashAlloc(int capacity) noexcept {
  auto* hash = new (std::nothrow) OLIBSZHASH;
  if (hash != nullptr && capacity > 0) hash->values.reserve(static_cast<std::size_t>(capacity));
  return hash;
}

int OLIBSzHashSetValue(OLIBSZHASH** hash, const char* key, const char* value) noexcept {
  if (hash == nullptr || *hash == nullptr || key == nullptr || value == nullptr) return -1;
  (*hash)->values.insert_or_assign(key, value);
  return static_cast<int>((*hash)->values.size());
}

const char* SzOLIBSzHashGetValue(const OLIBSZHASH* hash, const char* key) noexcept {
  if (hash == nullptr || key == nullptr) return nullptr;
  const auto found = hash->values.find(key);
  return found == hash->values.end() ? nullptr : found->second.c_str();
}

void OLIBSzHashFree(OLIBSZHASH* hash) noexcept {
  delete hash;
}
