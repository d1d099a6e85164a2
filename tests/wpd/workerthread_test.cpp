#include "workerthread.h"

#include <atomic>

#include "support/process.h"

namespace wpd {
namespace {

using namespace std::chrono_literals;

// Counts its work, each piece of which waits for leave while `hold` is set.
class Work : public WorkerThread::Delegate {
 public:
  explicit Work(std::optional<Clock::duration> again = std::nullopt) : again_(again) {}

  std::optional<Clock::duration> DoWork() override {
    ++begun;
    while (hold) PauseBriefly();
    ++done;
    return again_;
  }
  void AtEnd() override { ++ended; }

  std::atomic<int> begun{0};
  std::atomic<int> done{0};
  std::atomic<int> ended{0};
  std::atomic<bool> hold{false};

 private:
  const std::optional<Clock::duration> again_;
};

TEST(WorkerThread, WorksAtOnceAndAgainWhenWokenDuringItsWork) {
  Work work;
  work.hold = true;
  WorkerThread thread(work);
  thread.Start();
  ASSERT_TRUE(Eventually([&] { return work.begun == 1; }));
  thread.Wake();
  thread.Wake();
  work.hold = false;
  EXPECT_TRUE(Eventually([&] { return work.done == 2; })) << "a lost Wake";
  EXPECT_FALSE(Eventually([&] { return work.done > 2; }, 100ms)) << "two are one piece of work";
  EXPECT_TRUE(thread.Stop(10s));
  EXPECT_EQ(work.ended, 1);
}

TEST(WorkerThread, RepeatsItsWorkAtIntervals) {
  Work work(50ms);
  WorkerThread thread(work);
  const auto begin = Clock::now();
  thread.Start();
  ASSERT_TRUE(Eventually([&] { return work.done >= 5; }));
  EXPECT_GE(Clock::now() - begin, 195ms) << "not without a pause";
  EXPECT_TRUE(thread.Stop(10s)) << "and not only after the next interval";
}

TEST(WorkerThread, StopsDuringALongPauseButNotDuringItsWork) {
  Work idle(1h);
  WorkerThread pausing(idle);
  EXPECT_TRUE(pausing.Stop(0ms)) << "never started";
  pausing.Start();
  ASSERT_TRUE(Eventually([&] { return idle.done == 1; }));
  EXPECT_TRUE(pausing.Stop(10s));
  EXPECT_EQ(idle.ended, 1);

  Work hanging;
  hanging.hold = true;
  WorkerThread busy(hanging);
  busy.Start();
  ASSERT_TRUE(Eventually([&] { return hanging.begun == 1; }));
  const auto begin = Clock::now();
  EXPECT_FALSE(busy.Stop(100ms));
  EXPECT_GE(Clock::now() - begin, 100ms);
  EXPECT_TRUE(busy.IsStopping());
  EXPECT_EQ(hanging.ended, 0);
  hanging.hold = false;
  EXPECT_TRUE(busy.Stop(10s));
  EXPECT_EQ(hanging.done, 1) << "no work after Stop";
  EXPECT_EQ(hanging.ended, 1);
}

}  // namespace
}  // namespace wpd
