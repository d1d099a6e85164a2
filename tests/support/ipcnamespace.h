// System V objects and kernel limits of the test's own: whatever it makes goes with its process,
// and suites that run side by side do not meet.
#pragma once

#include <sched.h>

#include <cerrno>

#include "support/test.h"

namespace watchpost::test {

class IpcNamespace {
 public:
  /// Needs the privileges of root; without them the test goes on in the present one.
  IpcNamespace() { EXPECT_TRUE(unshare(CLONE_NEWIPC) == 0 || errno == EPERM) << errno; }
};

class IpcTest : public ::testing::Test {
 protected:
  IpcNamespace ipc_;
};

}  // namespace watchpost::test
