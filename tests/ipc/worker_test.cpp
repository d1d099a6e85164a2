#include "ipc/worker.h"

#include <cerrno>

#include "ipc/sharedmemory.h"
#include "support/forkedpeer.h"
#include "support/ipcnamespace.h"

namespace {

class WorkerTest : public IpcTest {
 protected:
  WorkerTest() : segment_(IPC_PRIVATE, sizeof(Worker)), memory_(segment_.Id()) {
    EXPECT_EQ(worker().Init(), 0);
  }
  Worker& worker() { return *static_cast<Worker*>(memory_.Get()); }

  ShmSegment segment_;
  ShmAttachment memory_;
};

}  // namespace

TEST_F(WorkerTest, CountsStartsAndStops) {
  EXPECT_FALSE(worker().Started());
  EXPECT_TRUE(worker().Stopped());
  EXPECT_EQ(worker().Start(), 0);
  EXPECT_EQ(worker().Start(), 0);
  EXPECT_EQ(worker().Stop(), 0);
  EXPECT_TRUE(worker().Started());
  EXPECT_EQ(worker().Stop(), 0);
  EXPECT_EQ(worker().Stop(), 0);
  EXPECT_TRUE(worker().Stopped());
  EXPECT_EQ(worker().Destroy(), 0);
}

TEST_F(WorkerTest, WaitsForAnotherProcessOrForTheTime) {
  ForkedPeer other([this] {
    (void)worker().Lock();
    while (worker().Stopped()) (void)worker().Wait(0);
    (void)worker().Unlock();
    return worker().Stop();
  });
  EXPECT_EQ(worker().Start(), 0);
  EXPECT_EQ(other.Wait(), 0);
  EXPECT_TRUE(worker().Stopped());

  ASSERT_EQ(worker().Lock(), 0);
  const auto begin = Clock::now();
  int result = 0;
  while (result == 0) result = worker().Wait(1);
  EXPECT_EQ(result, ETIMEDOUT);
  EXPECT_GE(Clock::now() - begin, milliseconds(900));
  EXPECT_EQ(worker().Unlock(), 0);
}

TEST_F(WorkerTest, LetsAWaitingThreadBeCancelled) {
  const auto wait = [](void* context) -> void* {
    auto* worker = static_cast<Worker*>(context);
    (void)worker->Lock();
    (void)worker->Wait(0);
    return nullptr;
  };
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, nullptr, wait, &worker()), 0);
  ASSERT_EQ(pthread_cancel(thread), 0);
  void* result = nullptr;
  ASSERT_EQ(pthread_join(thread, &result), 0);
  EXPECT_EQ(result, PTHREAD_CANCELED);
}
