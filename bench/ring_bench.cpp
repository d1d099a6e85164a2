// The ring of live frames: publishing and reading beside the bare system calls that its locks
// consist of, and the delay to a follower in another process.

#include <benchmark/benchmark.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>
#include <watchpost/ipc/ringfollower.h>
#include <watchpost/ipc/ringhost.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ratios.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCamera = 1;
constexpr int kRing = 1 << 20;
constexpr int kSemaphores = kRing / 4096 * 4;
constexpr int kFrame = 40 << 10;

std::unique_ptr<watchpost::RingHost> MakeRing() {
  std::string error;
  auto host = watchpost::RingHost::Create(kCamera, kRing, error);
  if (host != nullptr) return host;
  std::fprintf(stderr, "ring_bench: %s\n", error.c_str());
  std::exit(1);
}

void Publish(RingBuffer& ring, const std::vector<unsigned char>& frame) {
  DataUnit* unit = ring.WriteAlloc(static_cast<int>(frame.size()));
  std::memcpy(unit->Payload(), frame.data(), frame.size());
  (void)ring.WriteFinish(unit);
}

void PublishOurs(benchmark::State& state) {
  const auto host = MakeRing();
  const std::vector<unsigned char> frame(kFrame, 1);
  std::vector<unsigned char> copy(kFrame);
  for ([[maybe_unused]] const auto _ : state) {
    Publish(host->Ring(), frame);
    DataUnit* unit = host->Ring().ReadLatest();
    std::memcpy(copy.data(), unit->Payload(), copy.size());
    (void)host->Ring().ReadFinish(unit);
    benchmark::DoNotOptimize(copy.data());
  }
}

// A set of the same size, and the calls of the locks in their order.
class BareSet {
 public:
  BareSet() : id_(semget(IPC_PRIVATE, kSemaphores, 0700)) {
    // Enough for every operation below to go on without waiting.
    for (int i = 0; i < 4; ++i) Set(i, 1);
  }
  ~BareSet() { (void)semctl(id_, 0, IPC_RMID); }
  BareSet(const BareSet&) = delete;
  BareSet& operator=(const BareSet&) = delete;

  void Pairs(int count) const {
    for (int i = 0; i < count; ++i) {
      Operate(-1);
      Operate(1);
    }
  }
  void SetFour() const {
    for (int i = 0; i < 4; ++i) Set(i, 1);
  }

 private:
  void Set(int index, int value) const {
    union {
      int val;
      void* buf;
    } argument{value};
    (void)semctl(id_, index, SETVAL, argument);
  }
  void Operate(short by) const {
    sembuf operation{0, by, SEM_UNDO};
    (void)semop(id_, &operation, 1);
  }

  int id_;
};

void PublishBare(benchmark::State& state) {
  const BareSet set;
  void* segment = mmap(nullptr, kRing, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto* memory = static_cast<unsigned char*>(segment);
  std::memset(memory, 0, kRing);
  const std::vector<unsigned char> frame(kFrame, 1);
  std::vector<unsigned char> copy(kFrame);
  std::size_t at = 0;
  for ([[maybe_unused]] const auto _ : state) {
    set.Pairs(6);  // evicting the oldest frame, and looking at the latest: twice lock and unlock
    set.SetFour();
    set.Pairs(1);
    std::memcpy(memory + at, frame.data(), frame.size());
    set.Pairs(2);  // the rest of locking and unlocking for writing
    set.Pairs(3);  // locking and unlocking for reading
    std::memcpy(copy.data(), memory + at, copy.size());
    at = (at + kFrame) % (kRing - kFrame);
    benchmark::DoNotOptimize(copy.data());
  }
  (void)munmap(segment, kRing);
}

void ReadLockOurs(benchmark::State& state) {
  const int id = semget(IPC_PRIVATE, kSemaphores, 0700);
  RWLock lock{};
  (void)lock.Init(id, 0);
  for ([[maybe_unused]] const auto _ : state) {
    (void)lock.ReadLock();
    (void)lock.ReadUnlock();
  }
  (void)semctl(id, 0, IPC_RMID);
}

void ReadLockBare(benchmark::State& state) {
  const BareSet set;
  for ([[maybe_unused]] const auto _ : state) set.Pairs(3);
}

// Publishes at `fps`; a follower in another process measures the time from WriteFinish.
void MeasureDelay(int fps, int frames) {
  const auto host = MakeRing();
  auto* delays = static_cast<double*>(mmap(nullptr,
                                           sizeof(double) * static_cast<std::size_t>(frames),
                                           PROT_READ | PROT_WRITE,
                                           MAP_SHARED | MAP_ANONYMOUS,
                                           -1,
                                           0));
  std::fflush(stdout);
  const pid_t pid = fork();
  if (pid == 0) {
    watchpost::RingFollower follower(kCamera);
    for (int i = 0; i < frames; ++i) {
      const auto frame = follower.Next(std::chrono::seconds(10));
      if (!frame) break;
      Clock::time_point written;
      std::memcpy(&written, frame->data, sizeof written);
      delays[i] = std::chrono::duration<double, std::milli>(Clock::now() - written).count();
    }
    _exit(0);
  }
  std::vector<unsigned char> frame(kFrame);
  const Clock::time_point begin = Clock::now();
  for (int i = 0; i <= frames; ++i) {  // one more: the first may be missed while attaching
    DataUnit* unit = host->Ring().WriteAlloc(kFrame);
    std::memcpy(unit->Payload(), frame.data(), frame.size());
    const Clock::time_point now = Clock::now();
    std::memcpy(unit->Payload(), &now, sizeof now);
    (void)host->Ring().WriteFinish(unit);
    std::this_thread::sleep_until(begin + (i + 1) * std::chrono::microseconds(1000000 / fps));
  }
  rusage usage{};
  (void)wait4(pid, nullptr, 0, &usage);
  const bench::Summary summary = bench::Summarize({delays, delays + frames});
  const double busy = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                      static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
  std::printf(
      "delay to a follower at %d fps: median %.2f ms, spread %.2f to %.2f; the follower uses "
      "%.2f %% of a core\n",
      fps,
      summary.median,
      summary.smallest,
      summary.largest,
      100 * busy * fps / frames);
}

BENCHMARK(PublishOurs)->Name("publish and read 40 KB/ours");
BENCHMARK(PublishBare)->Name("publish and read 40 KB/bare");
BENCHMARK(ReadLockOurs)->Name("ReadLock, ReadUnlock/ours");
BENCHMARK(ReadLockBare)->Name("ReadLock, ReadUnlock/bare");

}  // namespace

int main(int argc, char** argv) {
  // Making rings writes limits: those of a namespace of its own.
  if (unshare(CLONE_NEWIPC) != 0) {
    std::fprintf(stderr, "ring_bench: needs to be root\n");
    return 1;
  }
  const int status = bench::RunRatios(argc, argv);
  for (const int fps : {10, 25}) MeasureDelay(fps, 12 * fps);
  return status;
}
