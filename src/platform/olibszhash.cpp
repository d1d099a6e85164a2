#include "platform/olibszhash.h"

#include <map>
#include <new>
#include <string>

struct OLIBSZHASH {
  std::map<std::string, std::string> values;
};

OLIBSZHASH* PshOLIBSzHashAlloc(int /*capacity*/) noexcept {
  return new (std::nothrow) OLIBSZHASH;
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

int OLIBSzHashEnumKey(const OLIBSZHASH* hash, OLIBSZLIST** list) noexcept {
  if (hash == nullptr || list == nullptr || *list == nullptr) return -1;
  for (const auto& [key, value] : hash->values) (void)OLIBSzListPush(list, key.c_str());
  return static_cast<int>(hash->values.size());
}

void PslSzHashRemoveAll(OLIBSZHASH* hash) noexcept {
  if (hash != nullptr) hash->values.clear();
}

void OLIBSzHashFree(OLIBSZHASH* hash) noexcept {
  delete hash;
}
