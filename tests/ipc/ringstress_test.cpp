// One writer and many readers of a ring, who verify every frame; processes that are killed at
// random, and threads for ThreadSanitizer. WATCHPOST_STRESS_FRAMES makes the run longer.

#include <sys/mman.h>

#include <atomic>
#include <iostream>
#include <new>

#include "ipc/ringfollower.h"
#include "ipc/ringhost.h"
#include "support/forkedpeer.h"
#include "support/ipcnamespace.h"

namespace {

using std::chrono::microseconds;

constexpr int kCamera = 4;
constexpr int kRing = 256 << 10;
constexpr std::uint32_t kSmallest = 100;
constexpr std::uint32_t kLargest = 20000;
enum Kind : int { kLatest, kFollowing, kHolding, kKinds };
constexpr int kReaders = 6;

int FrameCount(int usual) {
  const char* text = std::getenv("WATCHPOST_STRESS_FRAMES");
  return text == nullptr ? usual : std::atoi(text);
}

std::uint32_t Checksum(const unsigned char* data, std::size_t size) {
  std::uint32_t sum = 2166136261;  // FNV-1a
  for (std::size_t i = 0; i < size; ++i) sum = (sum ^ data[i]) * 16777619;
  return sum;
}

// A frame is its number, the checksum of what follows, and bytes that differ from frame to frame.
void Fill(unsigned char* data, std::uint32_t number, std::size_t size) {
  std::memset(data + 8, static_cast<int>(number * 37 % 251), size - 8);
  std::memcpy(data + size - 4, &number, 4);
  const std::uint32_t sum = Checksum(data + 8, size - 8);
  std::memcpy(data, &number, 4);
  std::memcpy(data + 4, &sum, 4);
}

// The number of a frame that is whole.
bool Verify(const unsigned char* data, int size, std::uint32_t& number) {
  if (size < static_cast<int>(kSmallest) || size > static_cast<int>(kLargest)) return false;
  std::uint32_t sum = 0;
  std::memcpy(&number, data, 4);
  std::memcpy(&sum, data + 4, 4);
  return sum == Checksum(data + 8, static_cast<std::size_t>(size) - 8);
}

struct Counts {
  std::atomic<int> verified[kKinds];
  std::atomic<int> torn;
  std::atomic<int> backwards;
  std::atomic<bool> ended;
};

// Counts a frame, unless it is torn; gives its number.
std::uint32_t Examine(const unsigned char* data, int size, Kind kind, Counts& counts) {
  std::uint32_t number = 0;
  if (!Verify(data, size, number)) ++counts.torn;
  ++counts.verified[kind];
  return number;
}

// Examines a unit: what it holds stays the same for as long as it is held.
void Examine(RingBuffer& ring, DataUnit* unit, Kind kind, Counts& counts, std::mt19937& random) {
  (void)Examine(unit->Payload(), unit->Size(), kind, counts);
  if (kind == kHolding) {
    std::this_thread::sleep_for(microseconds(random() % 3000));
    (void)Examine(unit->Payload(), unit->Size(), kind, counts);
  }
  (void)ring.ReadFinish(unit);
}

int FollowUntilKilled(Counts& counts) {
  RingFollower follower(kCamera);
  std::uint32_t last = 0;
  for (;;) {
    const auto frame = follower.Next(milliseconds(1000));
    if (!frame) continue;
    const std::uint32_t number = Examine(frame->data, frame->size, kFollowing, counts);
    if (number < last) ++counts.backwards;
    last = number;
  }
}

// A ring whose recorder replaced it says so; its last frames may still be read.
int ReadUntilKilled(Kind kind, Counts& counts) {
  std::mt19937 random(static_cast<unsigned int>(getpid()));
  for (;;) {
    RingBuffer* ring = RingBufferGet(kCamera);
    CAM_CONN_STATUS status = CAM_CONN_NONE;
    while (ring != nullptr && ring->ConnStatusGet(&status) == 0 && status != CAM_CONN_NONE) {
      DataUnit* unit = random() % 2 == 0 ? ring->ReadLatest() : ring->ReadNext(nullptr);
      if (unit != nullptr) Examine(*ring, unit, kind, counts, random);
    }
    if (ring != nullptr) (void)RingBufferRelease(ring);
  }
}

ForkedPeer StartReader(int index, Counts& counts) {
  const auto kind = static_cast<Kind>(index % kKinds);
  return ForkedPeer([&counts, kind] {
    // What readers of a ring that goes have to say does not matter here.
    (void)!freopen("/dev/null", "w", stderr);
    return kind == kFollowing ? FollowUntilKilled(counts) : ReadUntilKilled(kind, counts);
  });
}

class RingStress : public IpcTest {
 protected:
  void Replace() {
    host_.reset();
    std::string error;
    host_ = RingHost::Create(kCamera, kRing, error);
    ASSERT_NE(host_, nullptr) << error;
    (void)host_->Ring().ConnStatusSet(CAM_CONN_CONNECTED);
    ++rings_;
  }

  // False while the ring is full.
  bool WriteFrame(std::uint32_t number) {
    const std::size_t size = kSmallest + random_() % (kLargest - kSmallest);
    DataUnit* unit = host_->Ring().WriteAlloc(static_cast<int>(size));
    if (unit == nullptr) return false;
    Fill(unit->Payload(), number, size);
    return host_->Ring().WriteFinish(unit) == 0;
  }

  std::unique_ptr<RingHost> host_;
  int rings_ = 0;
  std::mt19937 random_{7};
};

}  // namespace

TEST_F(RingStress, KilledReadersNeitherTearFramesNorStopTheWriter) {
  const std::size_t shared_size = sizeof(Counts);
  void* memory =
      mmap(nullptr, shared_size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  Counts& counts = *new (memory) Counts{};
  Replace();
  std::vector<ForkedPeer> readers;
  for (int i = 0; i < kReaders; ++i) readers.push_back(StartReader(i, counts));

  const int frames = FrameCount(20000);
  int written = 0;
  int killed = 0;
  int full = 0;
  microseconds longest{0};
  Clock::time_point full_since = Clock::time_point::max();
  auto next_kill = Clock::now();
  for (int number = 0; number < frames; ++number) {
    const auto begin = Clock::now();
    if (WriteFrame(static_cast<std::uint32_t>(number))) {
      ++written;
      full_since = Clock::time_point::max();
    } else {
      ++full;
      full_since = std::min(full_since, begin);
      if (begin - full_since > milliseconds(20)) Replace();
      std::this_thread::sleep_for(microseconds(500));
    }
    longest = std::max(longest, std::chrono::duration_cast<microseconds>(Clock::now() - begin));
    if (begin < next_kill) continue;
    const std::size_t victim = random_() % kReaders;
    readers[victim].Kill();
    readers[victim] = StartReader(static_cast<int>(victim), counts);
    ++killed;
    next_kill = Clock::now() + milliseconds(10 + random_() % 40);
  }
  readers.clear();
  std::cout << frames << " frames, " << written << " written, " << full << " dropped; " << rings_
            << " rings, " << killed << " readers killed; longest write " << longest.count()
            << " us; verified: " << counts.verified[kLatest] << " latest, "
            << counts.verified[kFollowing] << " following, " << counts.verified[kHolding]
            << " held\n";
  EXPECT_EQ(counts.torn, 0);
  EXPECT_EQ(counts.backwards, 0);
  EXPECT_GT(written, frames / 10);
  for (const auto& verified : counts.verified) EXPECT_GT(verified.load(), 100);
  EXPECT_LT(longest, seconds(2));
  (void)munmap(memory, shared_size);
}

TEST_F(RingStress, ThreadsForProcesses) {
  Replace();
  Counts counts{};
  std::vector<std::thread> readers;
  for (int i = 0; i < kReaders; ++i) {
    readers.emplace_back([this, &counts, i] {
      const auto kind = static_cast<Kind>(i % kKinds);
      std::mt19937 random(static_cast<unsigned int>(i));
      DataUnit* held = nullptr;
      while (!counts.ended) {
        RingBuffer& ring = host_->Ring();
        DataUnit* unit = kind == kFollowing  ? ring.ReadNext(held)
                         : random() % 2 == 0 ? ring.ReadLatest()
                                             : ring.ReadNext(nullptr);
        if (unit == nullptr) {
          std::this_thread::sleep_for(microseconds(100));
        } else if (kind == kFollowing) {
          (void)Examine(unit->Payload(), unit->Size(), kind, counts);
          if (held != nullptr) (void)ring.ReadFinish(held);
          held = unit;
        } else {
          Examine(ring, unit, kind, counts, random);
        }
      }
      if (held != nullptr) (void)host_->Ring().ReadFinish(held);
    });
  }
  const int frames = FrameCount(3000);
  for (int number = 0; number < frames; ++number) {
    if (!WriteFrame(static_cast<std::uint32_t>(number)))
      std::this_thread::sleep_for(microseconds(200));
    if (number % 16 == 0) std::this_thread::sleep_for(microseconds(100));
  }
  counts.ended = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(counts.torn, 0);
  for (const auto& verified : counts.verified) EXPECT_GT(verified.load(), 100);
}
