#include "ipc/rwlock.h"

#include <sys/sem.h>
#include <sys/socket.h>

#include <array>
#include <bit>
#include <memory>
#include <string>
#include <vector>

#include "ipc/sharedmemory.h"
#include "support/forkedpeer.h"
#include "support/ipcnamespace.h"
#include "support/process.h"

namespace {

using watchpost::ShmAttachment;
using watchpost::ShmSegment;
using watchpost::test::Eventually;
using watchpost::test::ForkedPeer;
using watchpost::test::IpcTest;

constexpr int kGroup = 4;

struct Counters {
  int read_requests, read_grants, write_requests, write_grants;
  bool operator==(const Counters&) const = default;
};

std::string Print(const Counters& c) {
  return std::to_string(c.read_requests) + " " + std::to_string(c.read_grants) + " " +
         std::to_string(c.write_requests) + " " + std::to_string(c.write_grants);
}

// A process that uses the lock on command: r w lock, R W try, u v unlock for reading and writing.
class LockUser {
 public:
  explicit LockUser(RWLock& lock) : peer_([&] { return Serve(lock); }) { close(ends_[1]); }
  ~LockUser() { close(ends_[0]); }

  void Ask(char command) { ASSERT_EQ(write(ends_[0], &command, 1), 1); }
  char Answer() {
    char answer = '?';
    return read(ends_[0], &answer, 1) == 1 ? answer : '?';
  }
  bool HasAnswered() {
    char answer = 0;
    return recv(ends_[0], &answer, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
  }
  void Kill() { peer_.Kill(); }

 private:
  int Serve(RWLock& lock) {
    close(ends_[0]);
    for (char command = 0; read(ends_[1], &command, 1) == 1;) {
      int result = -2;
      if (command == 'r') result = lock.ReadLock();
      if (command == 'w') result = lock.WriteLock();
      if (command == 'R') result = lock.TryReadLock();
      if (command == 'W') result = lock.TryWriteLock();
      if (command == 'u') result = lock.ReadUnlock();
      if (command == 'v') result = lock.WriteUnlock();
      const char answer = result == 0 ? '+' : result == -1 ? '-' : '?';
      if (write(ends_[1], &answer, 1) != 1) return 1;
    }
    return 0;
  }

  static std::array<int, 2> SocketPair() {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    return ends;
  }

  std::array<int, 2> ends_ = SocketPair();
  ForkedPeer peer_;
};

class RWLockTest : public IpcTest {
 protected:
  RWLockTest() : set_(semget(IPC_PRIVATE, 2 * kGroup, 0700)), segment_(IPC_PRIVATE, 4096) {
    memory_ = ShmAttachment(segment_.Id());
    lock_ = static_cast<RWLock*>(memory_.Get());
    EXPECT_EQ(lock_->Init(set_, kGroup), 0);
  }

  [[nodiscard]] Counters Now() const {
    const auto words = std::bit_cast<std::array<int, 6>>(*lock_);
    return {words[2], words[3], words[4], words[5]};
  }
  [[nodiscard]] int Value(int offset) const { return semctl(set_, kGroup + offset, GETVAL); }
  [[nodiscard]] int Waiting(int offset) const { return semctl(set_, kGroup + offset, GETNCNT); }

  int set_;
  ShmSegment segment_;
  ShmAttachment memory_;
  RWLock* lock_ = nullptr;
};

}  // namespace

// Steps are USER COMMAND OUTCOME: + and - are results, 0 to 3 the semaphore at which the user then
// waits; USER ! says that a user's wait is over. Users are A, B, C.
TEST_F(RWLockTest, AdmitsAsTheTableSays) {
  struct Case {
    std::string name;
    std::vector<std::string> steps;
    Counters after;
  };
  const std::vector<Case> cases{
      {"readers share", {"Ar+", "Br+", "CR+"}, {3, 3, 0, 0}},
      {"unlocked again", {"Ar+", "Br+", "Au+", "Bu+"}, {0, 0, 0, 0}},
      {"no try past a reader", {"Ar+", "BW-"}, {1, 1, 0, 0}},
      {"try after the reader", {"Ar+", "BW-", "Au+", "BW+"}, {0, 0, 1, 1}},
      {"a tried read is no wait", {"AR+", "Au+"}, {0, 0, 0, 0}},
      {"a reader waits for a writer", {"AW+", "Br2"}, {1, 0, 1, 1}},
      {"the writer admits it", {"AW+", "Br2", "Av+", "B!"}, {1, 1, 0, 0}},
      {"a writer waits for readers", {"Ar+", "Bw3"}, {1, 1, 1, 0}},
      {"no reader past a waiting writer", {"Ar+", "Bw3", "CR-", "Cr2"}, {2, 1, 1, 0}},
      {"no second try past it", {"Ar+", "Bw3", "CW-"}, {1, 1, 1, 0}},
      {"writers first, then readers", {"Ar+", "Bw3", "Cr2", "Au+", "B!"}, {1, 0, 1, 1}},
      {"and then the reader", {"Ar+", "Bw3", "Cr2", "Au+", "B!", "Bv+", "C!"}, {1, 1, 0, 0}},
      {"two writers one by one", {"Aw+", "Bw1"}, {0, 0, 2, 2}},
      {"the second after the first", {"Aw+", "Bw1", "Av+", "B!"}, {0, 0, 1, 1}},
      {"a reader after both", {"Aw+", "Bw1", "Cr2", "Av+", "B!"}, {1, 0, 1, 1}},
      {"all readers together", {"Aw+", "Br2", "Cr2", "Av+", "B!", "C!"}, {2, 2, 0, 0}},
      {"all writers together", {"Ar+", "Bw3", "Cw3", "Au+"}, {0, 0, 2, 2}},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    ASSERT_EQ(lock_->Init(set_, kGroup), 0);
    std::vector<std::unique_ptr<LockUser>> users;
    for (int i = 0; i < 3; ++i) users.push_back(std::make_unique<LockUser>(*lock_));
    for (const std::string& step : row.steps) {
      SCOPED_TRACE(step);
      LockUser& user = *users[static_cast<std::size_t>(step[0] - 'A')];
      if (step[1] == '!') {
        ASSERT_EQ(user.Answer(), '+');
        continue;
      }
      const int gate = step[2] - '0';
      const int before = gate >= 0 && gate < kGroup ? Waiting(gate) : 0;
      user.Ask(step[1]);
      if (step[2] == '+' || step[2] == '-') {
        ASSERT_EQ(user.Answer(), step[2]);
      } else {
        ASSERT_TRUE(Eventually([&] { return Waiting(gate) == before + 1; }));
        ASSERT_FALSE(user.HasAnswered());
      }
    }
    EXPECT_EQ(Now(), row.after) << Print(Now());
  }
}

TEST_F(RWLockTest, InitSetsFourValuesAndStopsAtTheFirstFailure) {
  EXPECT_EQ(Value(RWLock::COUNTERS), 1);
  EXPECT_EQ(Value(RWLock::WRITE), 1);
  EXPECT_EQ(Value(RWLock::READ_GO), 0);
  EXPECT_EQ(Value(RWLock::WRITE_GO), 0);
  EXPECT_EQ(lock_->Init(set_, 2 * kGroup), -1);
}

TEST_F(RWLockTest, ALoneReaderLeavesNoTrace) {
  EXPECT_EQ(lock_->ReadLock(), 0);
  EXPECT_EQ(Value(RWLock::READ_GO), 0);
  EXPECT_EQ(Now(), (Counters{1, 1, 0, 0}));
  EXPECT_EQ(lock_->ReadUnlock(), 0);
  EXPECT_EQ(Value(RWLock::READ_GO), 0);
  EXPECT_EQ(Now(), (Counters{0, 0, 0, 0}));
}

TEST_F(RWLockTest, KilledUsersGiveTheirMutexesBackButStayCounted) {
  LockUser writer(*lock_);
  writer.Ask('w');
  ASSERT_EQ(writer.Answer(), '+');
  writer.Kill();
  EXPECT_EQ(Value(RWLock::WRITE), 1);
  EXPECT_EQ(Value(RWLock::COUNTERS), 1);
  EXPECT_EQ(Now(), (Counters{0, 0, 1, 1}));
  EXPECT_EQ(lock_->TryReadLock(), -1);
}

TEST_F(RWLockTest, RemovingTheSetLetsEverybodyPass) {
  LockUser writer(*lock_);
  LockUser reader(*lock_);
  writer.Ask('W');
  ASSERT_EQ(writer.Answer(), '+');
  reader.Ask('r');
  ASSERT_TRUE(Eventually([&] { return Waiting(RWLock::READ_GO) == 1; }));
  ASSERT_EQ(semctl(set_, 0, IPC_RMID), 0);
  EXPECT_EQ(reader.Answer(), '+');
}
