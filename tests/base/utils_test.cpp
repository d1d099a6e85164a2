#include "base/utils.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <climits>

#include "base/delaytimer.h"
#include "base/shell_internal.h"
#include "support/process.h"

namespace {

TEST(Utils, EncodesBase64WithoutLineBreaks) {
  std::string text;
  std::string encoded;
  for (int i = 0; i < 30; ++i) {  // longer than one line of mail
    text += "abc";
    encoded += "YWJj";
  }
  for (const auto& [plain, expected] : {std::pair{std::string(), std::string()},
                                        {"a", "YQ=="},
                                        {"ab", "YWI="},
                                        {"\xFF\xFE\xFD\xFC", "//79/A=="},
                                        {text, encoded}}) {
    const std::unique_ptr<char, decltype(&std::free)> bytes(HttpBase64Encode(plain.c_str()),
                                                            &std::free);
    EXPECT_EQ(bytes.get(), expected);
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
  const UniqueFd holder = LockFile(path);
  EXPECT_EQ(IsFileLocked(path.c_str()), 1);
  EXPECT_EQ(IsFileLocked(path.c_str()), 1) << "asking changes nothing";
  ASSERT_EQ(flock(holder.Get(), LOCK_SH), 0);
  EXPECT_EQ(IsFileLocked(path.c_str()), 0);
}

TEST(DelayTimer, KeepsItsRateAndStartsAnewAfterAStall) {
  DelayTimer timer(20000);
  ASSERT_EQ(timer.BeginTiming(), 0);
  const auto start = Clock::now();
  for (int i = 0; i < 25; ++i) {
    std::this_thread::sleep_for(milliseconds(i % 10));  // work of uneven length
    (void)timer.Delay();
  }
  EXPECT_GE(Clock::now() - start, milliseconds(498));
  std::this_thread::sleep_for(milliseconds(100));
  const auto late = Clock::now();
  EXPECT_GE(timer.Delay(), 100000) << "says how late it is";
  EXPECT_LT(Clock::now() - late, milliseconds(20)) << "does not sleep";
  EXPECT_EQ(timer.Delay(), 0);
  EXPECT_GE(Clock::now() - late, milliseconds(19)) << "begins a period at once";
}

TEST(ShellWord, KeepsPlainPathsAndDisarmsOthers) {
  EXPECT_EQ(ShellWord("/volume1/@tmp/Porch-2"), "/volume1/@tmp/Porch-2");
  for (const std::string text : {"a b", "", "$(reboot)", "it's;\nrm", "-\\\"`*"})
    EXPECT_EQ(OutputOf("sh -c " + Quoted("printf %s " + ShellWord(text))), text);
}

}  // namespace
