#include "platform/rootedpath.h"

#include <stdlib.h>

namespace watchpost {

std::string RootedPath(std::string_view path) {
  const char* value = secure_getenv("ORVA_ROOT");
  std::string root = value == nullptr ? "" : value;
  while (root.ends_with('/')) root.pop_back();
  return root.append(path);
}

}  // namespace watchpost
