// Everything that libwatchpost offers.
#pragma once

// IWYU pragma: begin_exports
#include "platform/olibfile.h"
#include "platform/olibszhash.h"
#include "platform/orvadb.h"
#include "platform/orvaea.h"
#include "platform/orvalog.h"
#include "platform/orvaserviceinfo.h"
#include "platform/rootedpath.h"
#include "platform/unique_fd.h"
// IWYU pragma: end_exports
