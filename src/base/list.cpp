#include "base/list.h"

#include <cstdlib>

namespace {

enum class Data { kKeep, kFree };

list_node* NewNode(void* data, list_node* next, list_node* prev) {
  auto* node = static_cast<list_node*>(std::malloc(sizeof(list_node)));
  if (node != nullptr) *node = {data, next, prev};
  return node;
}

// Frees from the back to `node` without recursion: a day's index is millions of nodes deep.
void FreeFrom(list_node* node, Data data) {
  if (node == nullptr) return;
  // Inserted nodes leave wrong back links, so the way back is laid anew on the way forward.
  list_node* last = node;
  for (list_node* next = last->next; next != nullptr; next = next->next) {
    next->prev = last;
    last = next;
  }
  for (;;) {
    list_node* before = last == node ? nullptr : last->prev;
    if (data == Data::kFree) std::free(last->data);
    std::free(last);
    if (before == nullptr) return;
    last = before;
  }
}

}  // namespace

list_node* list_front(list_node* node) noexcept {
  while (node != nullptr && node->prev != nullptr) node = node->prev;
  return node;
}

list_node* list_back(list_node* node) noexcept {
  while (node != nullptr && node->next != nullptr) node = node->next;
  return node;
}

list_node* list_push_front(list_node* node, void* data) noexcept {
  list_node* first = list_front(node);
  list_node* added = NewNode(data, first, nullptr);
  if (added != nullptr && first != nullptr) first->prev = added;
  return added;
}

list_node* list_push_back(list_node* node, void* data) noexcept {
  list_node* last = list_back(node);
  list_node* added = NewNode(data, nullptr, last);
  if (added != nullptr && last != nullptr) last->next = added;
  return added;
}

list_node* list_insert(list_node* node, void* data) noexcept {
  list_node* moved = NewNode(node->data, node->next, node);
  if (moved == nullptr) return nullptr;
  node->data = data;
  node->next = moved;
  return moved;
}

list_node* list_erase(list_node* node) noexcept {
  if (node == nullptr) return nullptr;
  list_node* next = node->next;
  if (node->prev != nullptr) node->prev->next = next;
  if (next != nullptr) next->prev = node->prev;
  std::free(node);
  return next;
}

list_node* list_erased(list_node* node) noexcept {
  if (node != nullptr) std::free(node->data);
  return list_erase(node);
}

void list_rerase(list_node* node) noexcept {
  FreeFrom(node, Data::kKeep);
}

void list_rerased(list_node* node) noexcept {
  FreeFrom(node, Data::kFree);
}

list_node* list_pop_front(list_node* node) noexcept {
  return list_erase(list_front(node));
}

list_node* list_pop_back(list_node* node) noexcept {
  return list_erase(list_back(node));
}

list_node* list_popd_front(list_node* node) noexcept {
  return list_erased(list_front(node));
}

list_node* list_popd_back(list_node* node) noexcept {
  return list_erased(list_back(node));
}

list_node* list_find(list_node* node, const void* data) noexcept {
  while (node != nullptr && node->data != data) node = node->next;
  return node;
}

list_node* list_remove(list_node* node, const void* data) noexcept {
  while ((node = list_find(node, data)) != nullptr) node = list_erase(node);
  return nullptr;
}

list_node* list_nth(list_node* node, int n) noexcept {
  for (; n > 0 && node != nullptr; --n) node = node->next;
  return node;
}

int list_size(const list_node* node) noexcept {
  int count = 0;
  for (; node != nullptr; node = node->next) ++count;
  return count;
}
