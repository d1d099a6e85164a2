// Export macro, for folders that stand on foundation alone.
#pragma once

#include "platform/export.h"  // IWYU pragma: export
