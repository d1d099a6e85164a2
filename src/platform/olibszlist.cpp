#include "platform/olibszlist.h"

#include <new>
#include <string>
#include <vector>

struct OLIBSZLIST {
  std::vector<std::string> texts;
};

OLIBSZLIST* PslOLIBSzListAlloc(int capacity) noexcept {
  auto* list = new (std::nothrow) OLIBSZLIST;
  if (list != nullptr && capacity > 0) list->texts.reserve(static_cast<std::size_t>(capacity));
  return list;
}

int OLIBSzListPush(OLIBSZLIST** list, const char* text) noexcept {
  if (list == nullptr || *list == nullptr || text == nullptr) return -1;
  (*list)->texts.emplace_back(text);
  return static_cast<int>((*list)->texts.size());
}

const char* SzOLIBSzListGet(const OLIBSZLIST* list, int index) noexcept {
  if (list == nullptr || index < 0) return nullptr;
  const auto at = static_cast<std::size_t>(index);
  return at < list->texts.size() ? list->texts[at].c_str() : nullptr;
}

void OLIBSzListFree(OLIBSZLIST* list) noexcept {
  delete list;
}
