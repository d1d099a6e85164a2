// System V objects and kernel limits of the test's own: whatever it makes goes with its process.
#pragma once

#include <gtest/gtest.h>
#include <sched.h>

namespace watchpost::test {

class IpcNamespace {
 public:
  /// Needs the privileges of root, like writing the limits.
  IpcNamespace() { EXPECT_EQ(unshare(CLONE_NEWIPC), 0) << "tests of the ring run as root"; }
};

class IpcTest : public ::testing::Test {
 protected:
  IpcNamespace ipc_;
};

}  // namespace watchpost::test
