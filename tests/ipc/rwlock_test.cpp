#include "ipc/rwlock.h"

#include <sys/sem.h>
#include <sys/socket.h>

#include <bit>

#include "ipc/sharedmemory.h"
#include "support/forkedpeer.h"
#include "support/ipcnamespace.h"
#include "support/process.h"

namespace {

constexpr int kGroup = 4;

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
  static int Use(RWLock& lock, char command) {
    switch (command) {
      case 'r':
        return lock.ReadLock();
      case 'w':
        return lock.WriteLock();
      case 'R':
        return lock.TryReadLock();
      case 'W':
        return lock.TryWriteLock();
      case 'u':
        return lock.ReadUnlock();
      default:
        return lock.WriteUnlock();
    }
  }
  int Serve(RWLock& lock) {
    close(ends_[0]);
    for (char command = 0; read(ends_[1], &command, 1) == 1;) {
      const int result = Use(lock, command);
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
  RWLockTest() { EXPECT_EQ(lock_.Init(set_, kGroup), 0); }

  // Requests and grants of reading, requests and grants of writing.
  [[nodiscard]] std::string Counters() const {
    const auto words = std::bit_cast<std::array<int, 6>>(lock_);
    std::string text;
    for (std::size_t i = 2; i < 6; ++i) text += std::to_string(words[i]);
    return text;
  }
  [[nodiscard]] int Value(int offset) const { return semctl(set_, kGroup + offset, GETVAL); }
  [[nodiscard]] int Waiting(int offset) const { return semctl(set_, kGroup + offset, GETNCNT); }

  int set_ = semget(IPC_PRIVATE, 2 * kGroup, 0700);
  ShmSegment segment_{IPC_PRIVATE, 4096};
  ShmAttachment memory_{segment_.Id()};
  RWLock& lock_ = *static_cast<RWLock*>(memory_.Get());
};

}  // namespace

// Steps are USER COMMAND OUTCOME: + and - are results, 0 to 3 the semaphore at which the user then
// waits; USER ! says that a user's wait is over. Users are A, B, C.
TEST_F(RWLockTest, AdmitsAsTheTableSays) {
  const struct {
    const char *name, *steps, *after;
  } cases[] = {
      {"readers share", "Ar+ Br+ CR+", "3300"},
      {"unlocked again", "Ar+ Br+ Au+ Bu+", "0000"},
      {"no try past a reader", "Ar+ BW-", "1100"},
      {"try after the reader", "Ar+ BW- Au+ BW+", "0011"},
      {"a tried read is no wait", "AR+ Au+", "0000"},
      {"a reader waits for a writer", "AW+ Br2", "1011"},
      {"the writer admits it", "AW+ Br2 Av+ B!", "1100"},
      {"a writer waits for readers", "Ar+ Bw3", "1110"},
      {"no reader past a waiting writer", "Ar+ Bw3 CR- Cr2", "2110"},
      {"no second try past it", "Ar+ Bw3 CW-", "1110"},
      {"writers first, then readers", "Ar+ Bw3 Cr2 Au+ B!", "1011"},
      {"and then the reader", "Ar+ Bw3 Cr2 Au+ B! Bv+ C!", "1100"},
      {"two writers one by one", "Aw+ Bw1", "0022"},
      {"the second after the first", "Aw+ Bw1 Av+ B!", "0011"},
      {"a reader after both", "Aw+ Bw1 Cr2 Av+ B!", "1011"},
      {"all readers together", "Aw+ Br2 Cr2 Av+ B! C!", "2200"},
      {"all writers together", "Ar+ Bw3 Cw3 Au+", "0022"},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    ASSERT_EQ(lock_.Init(set_, kGroup), 0);
    std::array<LockUser, 3> users{LockUser(lock_), LockUser(lock_), LockUser(lock_)};
    std::istringstream steps(row.steps);
    for (std::string step; steps >> step;) {
      SCOPED_TRACE(step);
      LockUser& user = users[static_cast<std::size_t>(step[0] - 'A')];
      if (step[1] == '!') {
        ASSERT_EQ(user.Answer(), '+');
        continue;
      }
      const int gate = step[2] - '0';
      const int before = gate >= 0 ? Waiting(gate) : 0;
      user.Ask(step[1]);
      if (gate < 0) {
        ASSERT_EQ(user.Answer(), step[2]);
      } else {
        ASSERT_TRUE(Eventually([&] { return Waiting(gate) == before + 1; }));
        ASSERT_FALSE(user.HasAnswered());
      }
    }
    EXPECT_EQ(Counters(), row.after);
  }
}

TEST_F(RWLockTest, InitSetsFourValuesAndALoneReaderLeavesNoTrace) {
  const auto values = [this] {
    return std::array{Value(RWLock::COUNTERS),
                      Value(RWLock::WRITE),
                      Value(RWLock::READ_GO),
                      Value(RWLock::WRITE_GO)};
  };
  EXPECT_THAT(values(), ElementsAre(1, 1, 0, 0));
  EXPECT_EQ(lock_.ReadLock(), 0);
  EXPECT_EQ(Counters(), "1100");
  EXPECT_EQ(lock_.ReadUnlock(), 0);
  EXPECT_EQ(Counters(), "0000");
  EXPECT_THAT(values(), ElementsAre(1, 1, 0, 0));
  EXPECT_EQ(lock_.Init(set_, 2 * kGroup), -1);
}

TEST_F(RWLockTest, KilledUsersGiveTheirMutexesBackButStayCounted) {
  LockUser writer(lock_);
  writer.Ask('w');
  ASSERT_EQ(writer.Answer(), '+');
  writer.Kill();
  EXPECT_EQ(Value(RWLock::WRITE), 1);
  EXPECT_EQ(Value(RWLock::COUNTERS), 1);
  EXPECT_EQ(Counters(), "0011");
  EXPECT_EQ(lock_.TryReadLock(), -1);
}

TEST_F(RWLockTest, RemovingTheSetLetsEverybodyPass) {
  LockUser writer(lock_);
  LockUser reader(lock_);
  writer.Ask('W');
  ASSERT_EQ(writer.Answer(), '+');
  reader.Ask('r');
  ASSERT_TRUE(Eventually([&] { return Waiting(RWLock::READ_GO) == 1; }));
  ASSERT_EQ(semctl(set_, 0, IPC_RMID), 0);
  EXPECT_EQ(reader.Answer(), '+');
}
