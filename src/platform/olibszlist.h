// String list of the appliance's utility library. One thread at a time uses a list.
#pragma once

#include <memory>

#include "base/export.h"

struct OLIBSZLIST;

extern "C" {

/// A new, empty list with room for `capacity` entries (it grows beyond them); null when memory runs
/// out. The caller releases it with OLIBSzListFree.
WATCHPOST_API OLIBSZLIST* PslOLIBSzListAlloc(int capacity) noexcept;

/// Appends a copy of `text` to `*list`. Returns the number of entries, or -1 for a null argument.
WATCHPOST_API int OLIBSzListPush(OLIBSZLIST** list, const char* text) noexcept;

/// Entry `index`, counted from 0, owned by the list; null without one.
WATCHPOST_API const char* SzOLIBSzListGet(const OLIBSZLIST* list, int index) noexcept;

/// Releases the list; null is ignored.
WATCHPOST_API void OLIBSzListFree(OLIBSZLIST* list) noexcept;

}  // extern "C"

namespace watchpost {

struct OlibListDeleter {
  void operator()(OLIBSZLIST* list) const noexcept { OLIBSzListFree(list); }
};
/// Owner of one list.
using OlibListPtr = std::unique_ptr<OLIBSZLIST, OlibListDeleter>;

}  // namespace watchpost
