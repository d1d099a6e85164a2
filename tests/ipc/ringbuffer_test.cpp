#include "ipc/ringbuffer.h"

#include <sys/sem.h>

#include "ipc/ringfollower.h"
#include "ipc/ringhost.h"
#include "support/forkedpeer.h"
#include "support/ipcnamespace.h"
#include "support/process.h"
#include "support/syslogcapture.h"

namespace {

constexpr int kCamera = 3;

class RingTest : public IpcTest {
 protected:
  RingTest() { Make(65536); }
  void Make(int size) {
    host_.reset();
    std::string error;
    host_ = RingHost::Create(kCamera, size, error);
    ASSERT_NE(host_, nullptr) << error;
  }
  RingBuffer& Ring() { return host_->Ring(); }

  bool Write(const std::string& text) {
    DataUnit* unit = Ring().WriteAlloc(static_cast<int>(text.size()));
    if (unit == nullptr) return false;
    std::memcpy(unit->Payload(), text.data(), text.size());
    return Ring().WriteFinish(unit) == 0;
  }

  // Word of the header at a byte offset of the layout.
  int Header(int at) {
    int word = 0;
    std::memcpy(&word, reinterpret_cast<char*>(&Ring()) + at, sizeof word);
    return word;
  }

  // Waits until a reader sleeps at the unit being written.
  void ExpectReaderAt(DataUnit* unit) {
    const int semaphore = unit->GetSemOffset() + RWLock::READ_GO;
    ASSERT_TRUE(Eventually([&] { return semctl(Header(28), semaphore, GETNCNT) == 1; }));
  }

  std::unique_ptr<RingHost> host_;
};

std::string Text(const DataUnit* unit) {
  if (unit == nullptr) return "nothing";
  return {reinterpret_cast<const char*>(unit->Payload()), static_cast<std::size_t>(unit->Size())};
}

// What a reader finds from the oldest frame on.
std::string Stored(RingBuffer& ring) {
  std::string all;
  DataUnit* unit = ring.ReadNext(nullptr);
  while (unit != nullptr) {
    all += Text(unit);
    DataUnit* next = ring.ReadNext(unit);
    (void)ring.ReadFinish(unit);
    unit = next;
  }
  return all;
}

}  // namespace

TEST_F(RingTest, InitLaysOutAnEmptyRing) {
  Make(1 << 20);
  const std::array expected{kCamera, 1048532, 0, 0, 0, 0, int{CAM_CONN_WAITING}};
  std::array<int, 7> words{};
  std::memcpy(words.data(), &Ring(), sizeof words);
  EXPECT_EQ(words, expected);
  semid_ds status{};
  EXPECT_EQ(semctl(Header(28), 0, IPC_STAT, &status), 0);
  EXPECT_EQ(status.sem_nsems, 1024U);
  EXPECT_EQ(Header(32), 1024);
  EXPECT_EQ(Ring().ReadLatest(), nullptr);
  EXPECT_EQ(Ring().ReadNext(nullptr), nullptr);
  EXPECT_EQ(Ring().ReadFinish(nullptr), -1);
  EXPECT_EQ(Ring().WriteFinish(nullptr), -1);
}

TEST_F(RingTest, KeepsTheLatestAndTheOneBefore) {
  for (const auto& [frame, stored] : {std::pair{"A", "A"}, {"B", "AB"}, {"C", "BC"}}) {
    ASSERT_TRUE(Write(frame));
    EXPECT_EQ(Stored(Ring()), stored);
  }
  DataUnit* latest = Ring().ReadLatest();
  EXPECT_EQ(Text(latest), "C");
  EXPECT_EQ(latest, DataUnit::FromDataAddr(latest->Payload()));
  EXPECT_LE(std::abs(latest->GetTimestamp().tv_sec - time(nullptr)), 5);
  EXPECT_EQ(Ring().ReadNext(latest), nullptr);
  EXPECT_EQ(Ring().ReadFinish(latest), 0);
}

TEST_F(RingTest, AReaderPinsItsFrameAndAllAfterIt) {
  ASSERT_TRUE(Write("A"));
  ASSERT_TRUE(Write("B"));
  DataUnit* held = Ring().ReadLatest();
  int written = 0;
  while (Write(std::string(4000, static_cast<char>('C' + written)))) ++written;
  // 65492 bytes in all: a frame is taken while a fifth of them is free.
  EXPECT_EQ(written, 13);
  EXPECT_EQ(Text(held), "B");
  EXPECT_EQ(Stored(Ring()).substr(0, 2), "BC");
  EXPECT_EQ(Ring().ReadFinish(held), 0);
  EXPECT_TRUE(Write("Z"));
  EXPECT_EQ(Text(Ring().ReadLatest()), "Z");
}

TEST_F(RingTest, WrapsWhereAUnitDoesNotFit) {
  const int capacity = 65536 - 44;
  const std::string big(12000, 'x');
  while (Header(8) + 2 * 12040 <= capacity) ASSERT_TRUE(Write(big));
  const int end = Header(8);
  ASSERT_TRUE(Write(big));
  const int before_wrap = Header(8);
  ASSERT_LT(end, before_wrap);
  DataUnit* last = Ring().ReadLatest();
  ASSERT_TRUE(Write("first again"));  // fits behind the last one
  ASSERT_TRUE(Write(big));
  EXPECT_EQ(Header(20), before_wrap + 52);
  EXPECT_EQ(Header(16), 0);
  DataUnit* tail = Ring().ReadNext(last);
  DataUnit* head = Ring().ReadNext(tail);
  EXPECT_EQ(Text(tail), "first again");
  EXPECT_EQ(Text(head), big);
  EXPECT_EQ(reinterpret_cast<char*>(head), reinterpret_cast<char*>(&Ring()) + 44);
  for (DataUnit* unit : {last, tail, head}) EXPECT_EQ(Ring().ReadFinish(unit), 0);
  ASSERT_TRUE(Write("after"));
  EXPECT_EQ(Stored(Ring()), big + "after");
  EXPECT_EQ(Header(20), 0) << "the evictor went round as well";
}

TEST_F(RingTest, RefusesWhatWouldPassTheEnd) {
  for (const int size : {-1, -41, 65492 - 39, 65492, 1 << 30, INT32_MAX})
    EXPECT_EQ(Ring().WriteAlloc(size), nullptr) << size;
  ASSERT_TRUE(Write(std::string(65492 - 40, 'y')));
  EXPECT_EQ(Ring().WriteAlloc(1), nullptr) << "the latest frame stays";
  EXPECT_EQ(Stored(Ring()).size(), 65492U - 40);
}

TEST_F(RingTest, SaysWhenItsGroupsAreUsedUp) {
  Make(20480);
  ASSERT_TRUE(Write("A"));
  DataUnit* held = Ring().ReadLatest();
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(Write("B"));
  const SyslogCapture log;
  EXPECT_FALSE(Write("C"));
  log.Expect("WriteAlloc(): Unable to allocate semaphore");
  EXPECT_EQ(Ring().ReadFinish(held), 0);
  EXPECT_TRUE(Write("C"));
}

TEST_F(RingTest, AReaderWaitsForTheFrameBeingWritten) {
  for (const bool is_first : {true, false}) {
    DataUnit* previous = is_first ? nullptr : Ring().ReadLatest();
    DataUnit* unit = Ring().WriteAlloc(5);
    ForkedPeer reader([&] { return Text(Ring().ReadNext(previous)) == "frame" ? 0 : 1; });
    ExpectReaderAt(unit);
    std::memcpy(unit->Payload(), "frame", 5);
    EXPECT_EQ(Ring().WriteFinish(unit), 0);
    EXPECT_EQ(reader.Wait(), 0);
    EXPECT_EQ(Ring().ReadFinish(previous), is_first ? -1 : 0);
  }
}

TEST_F(RingTest, AReaderThatEndsOpensNoGateOfALaterFrame) {
  DataUnit* unit = Ring().WriteAlloc(1);
  ASSERT_NE(unit, nullptr);
  ForkedPeer peer([this] {
    (void)Ring().ReadFinish(Ring().ReadLatest());
    return pause();
  });
  ExpectReaderAt(unit);
  const int group = unit->GetSemOffset();
  ASSERT_EQ(Ring().WriteFinish(unit), 0);
  constexpr int kReadRequests = 3;  // its word in a unit
  const auto* words = reinterpret_cast<const volatile std::int32_t*>(unit);
  ASSERT_TRUE(Eventually([&] { return words[kReadRequests] == 0; }));
  do {
    ASSERT_TRUE(Write("A"));
    unit = Ring().WriteAlloc(1);
    ASSERT_NE(unit, nullptr);
    if (unit->GetSemOffset() != group) (void)Ring().WriteFinish(unit);
  } while (unit->GetSemOffset() != group);
  peer.Kill();
  EXPECT_EQ(semctl(Header(28), group + RWLock::READ_GO, GETVAL), 0);
  EXPECT_EQ(Ring().WriteFinish(unit), 0);
}

TEST_F(RingTest, ReadersThatSpinOnTheLatestCostHardlyAFrame) {
  Make(1 << 20);
  ASSERT_TRUE(Write("A"));
  std::vector<ForkedPeer> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([this] {
      for (;;) (void)Ring().ReadFinish(Ring().ReadLatest());
      return 0;
    });
  }
  int dropped = 0;
  for (int i = 0; i < 100; ++i) {
    std::this_thread::sleep_for(milliseconds(5));
    dropped += Write(std::string(40000, 'B')) ? 0 : 1;
  }
  EXPECT_LE(dropped, 10) << "a reader that is there and is not run for a while, on a busy machine";
}

TEST_F(RingTest, TheLatestIsReadWhileAnOlderOneIsLocked) {
  DataUnit* oldest = Ring().WriteAlloc(5);
  ASSERT_EQ(Ring().WriteFinish(oldest), 0);
  ASSERT_TRUE(Write("B"));
  ASSERT_EQ(oldest->WrLock(), 0);
  DataUnit* latest = Ring().ReadLatest();
  EXPECT_EQ(Text(latest), "B");
  EXPECT_EQ(Ring().ReadFinish(latest), 0);
  EXPECT_EQ(oldest->WriteUnlock(), 0);
}

TEST_F(RingTest, WritesWhateverTheSemaphoresHeldBefore) {
  const int made = Header(28);
  const int fresh = semget(IPC_PRIVATE, Header(32), 0700);
  ASSERT_GT(fresh, -1);
  std::memcpy(reinterpret_cast<char*>(&Ring()) + 28, &fresh, sizeof fresh);
  EXPECT_EQ(Ring().ReadLatest(), nullptr);
  EXPECT_TRUE(Write("A"));
  EXPECT_TRUE(Write("B"));
  EXPECT_EQ(Stored(Ring()), "AB");
  EXPECT_EQ(Header(36), 8) << "two groups are handed out";
  std::memcpy(reinterpret_cast<char*>(&Ring()) + 28, &made, sizeof made);
}

TEST_F(RingTest, ARemovedRingGivesNoHalfFrame) {
  ASSERT_TRUE(Write("A"));
  DataUnit* previous = Ring().ReadLatest();
  DataUnit* unit = Ring().WriteAlloc(5);
  ForkedPeer reader([&] {
    const SyslogCapture log;
    const bool nothing = Ring().ReadNext(previous) == nullptr && Ring().ReadLatest() == nullptr;
    return nothing && log.Text().find(" lock failed\n") != std::string::npos ? 0 : 1;
  });
  ExpectReaderAt(unit);
  EXPECT_EQ(Ring().Destroy(), 0);
  EXPECT_EQ(reader.Wait(), 0);
  const SyslogCapture log;
  EXPECT_EQ(Ring().Destroy(), 1);
  log.Expect("Destroy(): Failed to delete semaphore set");
}

TEST_F(RingTest, ShowsTheConnectionAlsoWithoutARing) {
  host_.reset();
  EXPECT_EQ(CameraConnectionStatus(kCamera), 0);
  EXPECT_EQ(RingBufferGet(kCamera), nullptr);
  Make(65536);
  EXPECT_EQ(CameraConnectionStatus(kCamera), 1);
  EXPECT_EQ(Ring().ConnStatusSet(CAM_CONN_LOST), 0);
  EXPECT_EQ(CameraConnectionStatus(kCamera + 65536), 3);
  EXPECT_EQ(Ring().ConnStatusGet(nullptr), -1);
  RingBuffer* attached = RingBufferGet(kCamera);
  ASSERT_NE(attached, nullptr);
  EXPECT_EQ(RingBufferRelease(attached), 0);
  EXPECT_EQ(RingBufferRelease(attached), -1);
  host_.reset();
  EXPECT_EQ(CameraConnectionStatus(kCamera), 0);
}

TEST_F(RingTest, RefusesASegmentThatIsShorterThanItSays) {
  const ShmSegment segment(IPCKeyFromCameraId(9), 4096);
  const ShmAttachment memory(segment.Id());
  RingBuffer* fresh = RingBufferGet(9);
  ASSERT_NE(fresh, nullptr) << "a segment that is to be laid out";
  EXPECT_EQ(RingBufferRelease(fresh), 0);
  const int capacity = 4096;
  std::memcpy(static_cast<char*>(memory.Get()) + 4, &capacity, sizeof capacity);
  EXPECT_EQ(RingBufferGet(9), nullptr);
}

TEST_F(RingTest, ANewHostClearsWhatAKilledOneLeft) {
  host_.reset();
  ForkedPeer killed([&] {
    Make(65536);
    for (;;) (void)Write("old");
    return 0;
  });
  ASSERT_TRUE(Eventually([] { return CameraConnectionStatus(kCamera) == 1; }));
  RingFollower follower(kCamera);
  ASSERT_TRUE(follower.Next(seconds(10)));
  std::string error;
  EXPECT_EQ(RingHost::Create(kCamera, 65536, error), nullptr) << "its owner lives";
  EXPECT_THAT(error, HasSubstr("under the same key"));
  killed.Kill();
  Make(131072);
  ASSERT_TRUE(Write("new"));
  auto frame = follower.Next(seconds(10));
  while (frame && std::memcmp(frame->data, "new", 3) != 0) frame = follower.Next(seconds(10));
  EXPECT_TRUE(frame);
  EXPECT_EQ(follower.Attachments(), 2);
}

TEST_F(RingTest, AFollowerMissesNothingAndFollowsAReplacedRing) {
  Make(1 << 20);
  constexpr int kFrames = 300;
  std::vector<int> seen;
  std::thread reader([&] {
    RingFollower follower(kCamera);
    while (seen.size() < 2 * kFrames) {
      const auto frame = follower.Next(seconds(20));
      if (!frame) return;
      std::memcpy(&seen.emplace_back(), frame->data, sizeof(int));
    }
  });
  std::vector<int> sent;
  for (int number = 0; number < 2 * kFrames; ++number) {
    if (number == kFrames) {
      std::this_thread::sleep_for(milliseconds(50));  // lets the reader catch up
      Make(1 << 20);
    }
    sent.push_back(number);
    ASSERT_TRUE(Write({reinterpret_cast<const char*>(&number), sizeof number}));
    // Until the reader holds the first frame of this ring.
    std::this_thread::sleep_for(milliseconds(number % kFrames == 0 ? 402 : 2));
  }
  reader.join();
  EXPECT_EQ(seen, sent);
}
