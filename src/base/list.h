// Doubly linked list of untyped pointers, named by any pointer to one of its nodes. One
// thread at a time uses a list. Nodes are malloc blocks; the list owns the data only in operations
// whose name has a 'd' (erased, rerased, popd), which free it with free.
#pragma once

#include "base/export.h"

struct list_node {
  void* data;
  list_node* next;  ///< null at the back
  list_node* prev;  ///< null at the front
};

extern "C" {

/// First and last node of the list that holds `node`; null for null.
WATCHPOST_API list_node* list_front(list_node* node) noexcept;
WATCHPOST_API list_node* list_back(list_node* node) noexcept;

/// Links a new node that holds `data` before the first or after the last node, and returns it.
/// Walks there from `node`: appending to the node at the back costs no walk. A null `node` makes a
/// list of one. Returns null, with the list unchanged, when memory runs out.
WATCHPOST_API list_node* list_push_front(list_node* node, void* data) noexcept;
WATCHPOST_API list_node* list_push_back(list_node* node, void* data) noexcept;

/// Puts `data` in the place of `node` (not null) and its old element into a new node behind it,
/// which is returned; null when memory runs out. The old successor's `prev` still names `node`: do
/// not walk backwards past an inserted node.
WATCHPOST_API list_node* list_insert(list_node* node, void* data) noexcept;

/// Unlinks and frees `node`; returns the one that followed it, or null. list_erased also frees its
/// data.
WATCHPOST_API list_node* list_erase(list_node* node) noexcept;
WATCHPOST_API list_node* list_erased(list_node* node) noexcept;

/// Frees `node` and all after it, from the back; the node before keeps its link. list_rerased also
/// frees their data.
WATCHPOST_API void list_rerase(list_node* node) noexcept;
WATCHPOST_API void list_rerased(list_node* node) noexcept;

/// Erases the first or last node, the popd forms with its data; returns the node that followed it,
/// or null. When that was the only node, every handle to the list is invalid.
WATCHPOST_API list_node* list_pop_front(list_node* node) noexcept;
WATCHPOST_API list_node* list_pop_back(list_node* node) noexcept;
WATCHPOST_API list_node* list_popd_front(list_node* node) noexcept;
WATCHPOST_API list_node* list_popd_back(list_node* node) noexcept;

/// First node from `node` on whose data is `data`, or null.
WATCHPOST_API list_node* list_find(list_node* node, const void* data) noexcept;

/// Erases every node from `node` on whose data is `data`. Returns null.
WATCHPOST_API list_node* list_remove(list_node* node, const void* data) noexcept;

/// The node `n` steps after `node`, or null when the list ends before.
WATCHPOST_API list_node* list_nth(list_node* node, int n) noexcept;

/// Number of nodes from `node` on.
WATCHPOST_API int list_size(const list_node* node) noexcept;

}  // extern "C"
