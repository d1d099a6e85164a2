// Files that go from one folder to another, over file systems too.
#pragma once

#include <functional>
#include <string>

namespace wpctl {

/// Receives how many bytes of a file have been copied.
using CopyProgress = std::function<void(double bytes)>;

/// Renames a file to a name that nobody has; across file systems copies it to `half`, with its
/// times, syncs it, and gives it its name: the source then stays. Never overwrites. False, with
/// errno set.
bool MoveFile(const std::string& source,
              const std::string& target,
              const std::string& half,
              const CopyProgress& show);

/// Whether both can be read and hold the same bytes.
bool HaveSameContents(const std::string& a, const std::string& b);

}  // namespace wpctl
