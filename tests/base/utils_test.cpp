#include "base/utils.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <thread>

#include "base/delaytimer.h"
#include "base/shell_internal.h"
#include "base/uniquefd.h"
#include "support/tempdir.h"

using watchpost::UniqueFd;
using watchpost::test::TempDir;
using watchpost::test::WriteFile;

namespace {

TEST(Utils, EncodesBase64WithoutLineBreaks) {
  const struct {
    const char* text;
    const char* encoded;
  } cases[] = {
      {"", ""},
      {"a", "YQ=="},
      {"ab", "YWI="},
      {"abc", "YWJj"},
      {"\xFF\xFE\xFD\xFC", "//79/A=="},
      {"a user name of some length:and a password that is longer than one line of mail",
       "YSB1c2VyIG5hbWUgb2Ygc29tZSBsZW5ndGg6YW5kIGEgcGFzc3dvcmQgdGhhdCBpcyBsb25nZXIgdGhhbiBvbmUgbGl"
       "uZSBvZiBtYWls"},
  };
  for (const auto& c : cases) {
    char* encoded = HttpBase64Encode(c.text);
    EXPECT_STREQ(encoded, c.encoded);
    std::free(encoded);
  }
}

TEST(Utils, ConvertsInTheStatedArithmetic) {
  EXPECT_EQ(itos(-5), "-5");
  EXPECT_EQ(itos(LLONG_MIN), "-9223372036854775808");
  EXPECT_EQ(TimevalDiff({10, 900000}, {11, 100000}), 200000);
  EXPECT_EQ(TimevalDiff({11, 100000}, {10, 900000}), -200000);
  EXPECT_EQ(TimevalDiff({0, 0}, {2148, 0}), static_cast<int>(2148000000U)) << "wraps";
  EXPECT_EQ(DayToSecond(1), 86400);
  EXPECT_EQ(DayToSecond(24856), static_cast<int>(24856U * 86400U)) << "wraps";
  EXPECT_EQ(TransformFromByteToMB(1572864), 1.5);
  EXPECT_EQ(TransByteToMB(-1572864), -1.5);
  EXPECT_EQ(TransformFromByteToMB((1ULL << 50) + 1), (1ULL << 30) + 1 / 1048576.0);
}

TEST(Utils, SeesOnlyExclusiveLocksOfOthers) {
  const TempDir dir;
  const std::string path = dir / "file";
  WriteFile(path, "");
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(IsFileLocked(nullptr), 0);
  EXPECT_EQ(IsFileLocked((dir / "missing").c_str()), 0);
  EXPECT_EQ(IsFileLocked((dir / "fifo").c_str()), 0) << "does not wait for a writer";
  EXPECT_EQ(IsFileLocked(path.c_str()), 0);
  const UniqueFd holder(open(path.c_str(), O_RDONLY));
  ASSERT_EQ(flock(holder.Get(), LOCK_SH), 0);
  EXPECT_EQ(IsFileLocked(path.c_str()), 0);
  ASSERT_EQ(flock(holder.Get(), LOCK_EX), 0);
  EXPECT_EQ(IsFileLocked(path.c_str()), 1);
  EXPECT_EQ(IsFileLocked(path.c_str()), 1) << "asking changes nothing";
}

TEST(DelayTimer, KeepsItsRateAndStartsAnewAfterAStall) {
  using Clock = std::chrono::steady_clock;
  DelayTimer timer(20000);
  ASSERT_EQ(timer.BeginTiming(), 0);
  const auto start = Clock::now();
  for (int i = 0; i < 25; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(i % 10));  // work of uneven length
    (void)timer.Delay();
  }
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(498));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const auto late = Clock::now();
  EXPECT_GE(timer.Delay(), 100000) << "says how late it is";
  EXPECT_LT(Clock::now() - late, std::chrono::milliseconds(20)) << "does not sleep";
  EXPECT_EQ(timer.Delay(), 0);
  EXPECT_GE(Clock::now() - late, std::chrono::milliseconds(19)) << "begins a period at once";
}

TEST(ShellWord, KeepsPlainPathsAndDisarmsOthers) {
  EXPECT_EQ(watchpost::ShellWord("/volume1/@tmp/Porch-2"), "/volume1/@tmp/Porch-2");
  for (const std::string text : {"a b", "", "$(reboot)", "it's;\nrm", "-\\\"`*"}) {
    const TempDir dir;
    const std::string path = dir / "out";
    ASSERT_EQ(std::system(("printf %s " + watchpost::ShellWord(text) + " > " + path).c_str()), 0);
    EXPECT_EQ(watchpost::test::ReadFile(path), text);
  }
}

}  // namespace
