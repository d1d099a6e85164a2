// String hash of the appliance's utility library: a handle over a map of strings.
// One thread at a time uses a hash.
#pragma once

#include <memory>

#include "base/export.h"
#include "platform/olibszlist.h"

struct OLIBSZHASH;

extern "C" {

/// A new, empty hash, null when memory runs out. It grows as needed, whatever `capacity` says. The
/// caller releases it with OLIBSzHashFree.
WATCHPOST_API OLIBSZHASH* PshOLIBSzHashAlloc(int capacity) noexcept;

/// Stores copies of `key` and `value` in `*hash`, replacing the key's earlier value.
/// Returns the number of entries, or -1 for a null argument.
WATCHPOST_API int OLIBSzHashSetValue(OLIBSZHASH** hash,
                                     const char* key,
                                     const char* value) noexcept;

/// The value of `key`, owned by the hash until that key is set again or the hash is freed; null
/// when absent.
WATCHPOST_API const char* SzOLIBSzHashGetValue(const OLIBSZHASH* hash, const char* key) noexcept;

/// Appends copies of all keys to `*list`, in the order of their bytes. Returns how many, or -1 for
/// a null argument.
WATCHPOST_API int OLIBSzHashEnumKey(const OLIBSZHASH* hash, OLIBSZLIST** list) noexcept;

/// Takes every entry out.
WATCHPOST_API void PslSzHashRemoveAll(OLIBSZHASH* hash) noexcept;

/// Releases the hash; null is ignored.
WATCHPOST_API void OLIBSzHashFree(OLIBSZHASH* hash) noexcept;

}  // extern "C"

namespace watchpost {

struct OlibHashDeleter {
  void operator()(OLIBSZHASH* hash) const noexcept { OLIBSzHashFree(hash); }
};
/// Owner of one hash.
using OlibHashPtr = std::unique_ptr<OLIBSZHASH, OlibHashDeleter>;

}  // namespace watchpost
