// What a writer knows of the groups of its sets: which hold their first values, and will. Setting
// the four semaphores of a group costs the kernel time in proportion to the whole set, several
// times as much as all else about a frame. Thread-safe; a process knows of the sets that it made.
#pragma once

namespace watchpost {

/// A group stops being fresh when its writer lets waiting readers pass the gate: the writer has
/// opened it, they have passed it, and SEM_UNDO gives both back when these processes end, whatever
/// the group is used for then. Setting the semaphores clears that.
class FreshGroups {
 public:
  /// A set whose groups have all just been set.
  static void Begin(int set_id, int groups);
  static void End(int set_id);

  /// `group` is the index of the group's first semaphore. False for a set that is not known.
  static bool Has(int set_id, int group);
  static void Put(int set_id, int group, bool fresh);
};

}  // namespace watchpost
