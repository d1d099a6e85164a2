#include "base/list.h"

#include "support/test.h"

namespace {

void* Value(std::uintptr_t number) {
  return reinterpret_cast<void*>(number);
}

std::vector<std::uintptr_t> Values(const list_node* node) {
  std::vector<std::uintptr_t> values;
  for (; node != nullptr; node = node->next)
    values.push_back(reinterpret_cast<std::uintptr_t>(node->data));
  return values;
}

TEST(List, PushesAtBothEndsFromAnyNode) {
  list_node* two = list_push_back(nullptr, Value(2));
  list_node* one = list_push_front(two, Value(1));
  list_node* three = list_push_back(one, Value(3));
  EXPECT_THAT(Values(one), ElementsAre(1, 2, 3));
  EXPECT_EQ(list_front(three), one);
  EXPECT_EQ(list_back(one), three);
  EXPECT_EQ(list_nth(one, 0), one);
  EXPECT_EQ(list_nth(one, 2), three);
  EXPECT_EQ(list_nth(one, 3), nullptr);
  EXPECT_EQ(list_size(two), 2);
  EXPECT_EQ(list_size(nullptr), 0);
  list_rerase(one);
}

TEST(List, InsertTakesTheNodesPlaceAndLeavesOneOldBackLink) {
  list_node* a = list_push_back(nullptr, Value(1));
  list_node* b = list_push_back(a, Value(2));
  list_node* moved = list_insert(a, Value(9));
  EXPECT_THAT(Values(a), ElementsAre(9, 1, 2));
  EXPECT_EQ(moved->prev, a);
  EXPECT_EQ(b->prev, a) << "deliberately not moved";
  list_rerase(a);  // frees all three all the same
}

TEST(List, ErasesWithAndWithoutData) {
  list_node* first = list_push_back(nullptr, std::malloc(8));
  list_node* last = list_push_back(list_push_back(first, std::malloc(8)), std::malloc(8));
  EXPECT_EQ(list_erased(first->next), last);
  EXPECT_EQ(last->prev, first);
  EXPECT_EQ(list_popd_back(first), nullptr);
  EXPECT_EQ(list_size(first), 1);
  EXPECT_EQ(list_popd_front(first), nullptr);

  list_node* keep = list_push_back(nullptr, Value(1));
  list_node* next = list_push_back(keep, Value(2));
  EXPECT_EQ(list_pop_front(next), next);
  EXPECT_EQ(next->prev, nullptr);
  EXPECT_EQ(list_pop_back(next), nullptr);
}

TEST(List, RemovesEveryMatch) {
  list_node* first = list_push_back(nullptr, Value(1));
  for (const std::uintptr_t number : {7U, 2U, 7U, 7U}) list_push_back(first, Value(number));
  EXPECT_EQ(list_find(first, Value(8)), nullptr);
  EXPECT_EQ(list_find(nullptr, Value(7)), nullptr);
  EXPECT_EQ(list_remove(first, Value(7)), nullptr);
  EXPECT_THAT(Values(first), ElementsAre(1, 2));
  list_rerase(first);
}

TEST(List, FreesMillionsOfNodesWithoutRecursion) {
  list_node* first = list_push_back(nullptr, nullptr);
  list_node* back = first;
  for (int i = 0; i < 2000000; ++i) back = list_push_back(back, nullptr);
  list_rerased(first);
}

}  // namespace
