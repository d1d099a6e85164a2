// Owner of a descriptor, for folders that stand on foundation alone.
#pragma once

#include "platform/unique_fd.h"  // IWYU pragma: export
