#include "ipc/semmgr.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include "support/ipcnamespace.h"
#include "support/syslogcapture.h"

namespace {

class SemMgrTest : public IpcTest {};

}  // namespace

TEST_F(SemMgrTest, KeyTakesTheLowSixteenBitsOfTheId) {
  EXPECT_EQ(IPCKeyFromCameraId(5), 0x18140005);
  EXPECT_EQ(IPCKeyFromCameraId(65541), 0x18140005);
  EXPECT_EQ(IPCKeyFromCameraId(-1), 0x1814FFFF);
}

TEST_F(SemMgrTest, GroupsGoRoundFirstInFirstOut) {
  SemMgr manager{};
  ASSERT_EQ(manager.Init(5, 8), 0);
  EXPECT_EQ(manager.Get(), 0);
  EXPECT_EQ(manager.Get(), 4);
  {
    const SyslogCapture log;
    EXPECT_EQ(manager.Get(), -1);
    log.Expect("Semaphore unavailable");
    log.Expect("Get(): count 8 allocated 8 offset 0");
  }
  EXPECT_EQ(manager.Free(4), -1);
  EXPECT_EQ(manager.Free(0), 0);
  EXPECT_EQ(manager.Get(), 0);
  EXPECT_EQ(manager.Free(0), -1);
  EXPECT_EQ(manager.Free(4), 0);
  EXPECT_EQ(manager.Free(0), 0);
}

TEST_F(SemMgrTest, InitReplacesAnOlderSetAndWritesTwoLimits) {
  const std::string before = ReadFile("/proc/sys/kernel/sem");
  ASSERT_GE(semget(IPC_PRIVATE, 1, 0700), 0);  // takes id 0, which has a rule of its own
  SemMgr first{};
  SemMgr second{};
  ASSERT_EQ(first.Init(5, 8), 0);
  ASSERT_EQ(second.Init(65541, 12), 0);
  EXPECT_NE(first.SemSetId(), second.SemSetId());
  EXPECT_EQ(semctl(first.SemSetId(), 0, GETVAL), -1);
  const std::string after = ReadFile("/proc/sys/kernel/sem");
  EXPECT_THAT(after, StartsWith("12\t192\t"));
  SemMgr none{};
  EXPECT_EQ(none.Init(6, 0), -1);
  EXPECT_EQ(none.Init(6, -4), -1);
  EXPECT_EQ(ReadFile("/proc/sys/kernel/sem"), after) << "limits that would stop everybody";
  EXPECT_EQ(after.substr(7), before.substr(before.find('\t', before.find('\t') + 1) + 1));

  const SyslogCapture log;
  EXPECT_EQ(second.Destroy(), 0);
  EXPECT_EQ(second.Destroy(), -1);
  log.Expect("Destroy(): Failed to delete semaphore set");
}

TEST_F(SemMgrTest, AFailedInitLeavesTheRecord) {
  SemMgr manager{};
  ASSERT_EQ(manager.Init(5, 8), 0);
  const int id = manager.SemSetId();
  const SyslogCapture log;
  EXPECT_EQ(manager.Init(6, -4), -1);  // the kernel takes no such limits, or no such set
  EXPECT_EQ(manager.SemSetId(), id);
  EXPECT_EQ(manager.Get(), 0);
  EXPECT_EQ(log.Lines(), 1) << log.Text();
  // Without the right to write the limits there is no set at all.
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_EQ(manager.Init(7, 8), -1);
  ASSERT_EQ(seteuid(0), 0);
  log.Expect("Init(): Failed to set sem limit 13");
  EXPECT_EQ(semget(IPCKeyFromCameraId(7), 0, 0), -1);
}
