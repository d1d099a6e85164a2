#include <cstddef>
#include <map>
#include <vector>

#include "base/mutex.h"
#include "ipc/freshgroups_internal.h"
#include "ipc/ringlayout.h"

namespace watchpost {
namespace {

struct Sets {
  Mutex mutex;
  std::map<int, std::vector<bool>> groups WATCHPOST_GUARDED_BY(mutex);
};

Sets& TheSets() {
  static Sets sets;
  return sets;
}

std::size_t IndexOf(int group) {
  return static_cast<std::size_t>(group / ring::kGroup);
}

}  // namespace

void FreshGroups::Begin(int set_id, int groups) {
  Sets& sets = TheSets();
  const MutexLock lock(sets.mutex);
  sets.groups[set_id].assign(static_cast<std::size_t>(groups), true);
}

void FreshGroups::End(int set_id) {
  Sets& sets = TheSets();
  const MutexLock lock(sets.mutex);
  sets.groups.erase(set_id);
}

bool FreshGroups::Has(int set_id, int group) {
  Sets& sets = TheSets();
  const MutexLock lock(sets.mutex);
  const auto found = sets.groups.find(set_id);
  return found != sets.groups.end() && IndexOf(group) < found->second.size() &&
         found->second[IndexOf(group)];
}

void FreshGroups::Put(int set_id, int group, bool fresh) {
  Sets& sets = TheSets();
  const MutexLock lock(sets.mutex);
  const auto found = sets.groups.find(set_id);
  if (found != sets.groups.end() && IndexOf(group) < found->second.size())
    found->second[IndexOf(group)] = fresh;
}

}  // namespace watchpost
