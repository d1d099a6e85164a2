#include "media/mje.h"

#include <sys/resource.h>

#include "base/byteorder_internal.h"
#include "base/utils.h"
#include "support/forkedpeer.h"

namespace {

std::uint32_t Number(const std::string& file, std::size_t at) {
  return LoadLe32(reinterpret_cast<const unsigned char*>(file.data()) + at);
}

class AviWriter : public ::testing::Test {
 protected:
  // Begins the file anew.
  void Create(std::uint16_t width = 8, std::uint16_t height = 8, std::uint16_t fps = 25) {
    ASSERT_EQ(MJE_CreateCompress(&file_, path_.c_str(), width, height, fps), MJE_OK);
  }
  int Write(const std::string& frame) {
    const auto* data = reinterpret_cast<const unsigned char*>(frame.data());
    return MJE_WriteFrame(&file_, data, static_cast<unsigned int>(frame.size()));
  }

  TempDir dir_;
  std::string path_ = dir_ / "a.avi";
  MJE_HANDLE file_ = nullptr;
};

// The files beside the tests were put together by hand from the format's tables.
TEST_F(AviWriter, WritesTheFormatByteForByte) {
  Create(640, 480);
  EXPECT_EQ(ReadFile(path_), ReadFile(WATCHPOST_GOLDEN_DIR "/provisional.avi"));
  ASSERT_EQ(MJE_FinishCompress(&file_), MJE_OK);
  EXPECT_EQ(file_, nullptr);
  EXPECT_EQ(ReadFile(path_), ReadFile(WATCHPOST_GOLDEN_DIR "/empty.avi"));

  Create(640, 480);
  for (const std::string& frame :
       {std::string(1001, 'x'), std::string(12, 'y'), std::string(13, 'z')})
    ASSERT_EQ(Write(frame), MJE_OK);
  ASSERT_EQ(MJE_SetAttribute(&file_, 320, 240, 7), MJE_OK);
  ASSERT_EQ(MJE_FinishCompress(&file_), MJE_OK);
  EXPECT_EQ(ReadFile(path_), ReadFile(WATCHPOST_GOLDEN_DIR "/three-frames.avi"));
}

TEST_F(AviWriter, IndexesEveryFrameOfALongRecording) {
  constexpr std::uint32_t kFrames = 10000;  // more entries than are written at once
  Create(8, 8, 1000);
  for (std::uint32_t i = 0; i < kFrames; ++i)
    ASSERT_EQ(Write(std::string(10 + i % 7, 'a')), MJE_OK);
  ASSERT_EQ(MJE_FinishCompress(&file_), MJE_OK);
  const std::string file = ReadFile(path_);
  ASSERT_EQ(Number(file, 4) + 8, file.size());
  std::size_t at = 240;
  const std::size_t index = 232 + 4 + Number(file, 232);
  ASSERT_EQ(file.substr(index, 4), "idx1");
  for (std::uint32_t i = 0; i < kFrames; ++i) {
    const std::size_t entry = index + 8 + i * 16;
    ASSERT_EQ(file.substr(at, 4), "00db");
    ASSERT_EQ(Number(file, entry + 8) + 236, at) << i;
    ASSERT_EQ(Number(file, entry + 12), Number(file, at + 4)) << i;
    at += 8 + Number(file, at + 4);
  }
  EXPECT_EQ(at, index);
}

TEST_F(AviWriter, LeavesTheFileAsItWasWhenAWriteFails) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit saved{};
  getrlimit(RLIMIT_FSIZE, &saved);
  for (const std::string& before : {std::string(), std::string(100, 'a')}) {
    Create();
    ASSERT_TRUE(before.empty() || Write(before) == MJE_OK);
    const std::string good = ReadFile(path_);
    const rlimit limit{1000, saved.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(Write(std::string(5000, 'b')), MJE_ERR_WRITE)
        << "the first part fits, the rest does not";
    setrlimit(RLIMIT_FSIZE, &saved);
    EXPECT_EQ(ReadFile(path_), good);
    ASSERT_EQ(Write(std::string(20, 'c')), MJE_OK) << "goes on behind the last whole frame";
    ASSERT_EQ(MJE_FinishCompress(&file_), MJE_OK);
    const std::string file = ReadFile(path_);
    EXPECT_EQ(Number(file, 12 + 36), before.empty() ? 1U : 2U);
    EXPECT_EQ(Number(file, 4) + 8, file.size());
  }
}

TEST_F(AviWriter, KeepsBelowTwoGibibytes) {
  Create();
  ASSERT_EQ(Write(std::string(100, 'a')), MJE_OK);
  const std::string good = ReadFile(path_);
  const unsigned char byte = 0;
  // Refused before the data is looked at: 100 + size + 24 + 242 passes 2^31 by 2.
  EXPECT_EQ(MJE_WriteFrame(&file_, &byte, 0x80000000U - 100 - 24 - 242 + 2), MJE_ERR_FULL);
  EXPECT_EQ(MJE_WriteFrame(&file_, &byte, 0xFFFFFFFFU), MJE_ERR_FULL);
  EXPECT_EQ(ReadFile(path_), good);
  EXPECT_EQ(MJE_FinishCompress(&file_), MJE_OK);
}

TEST_F(AviWriter, RefusesSenselessArguments) {
  const unsigned char byte = 0;
  EXPECT_EQ(MJE_CreateCompress(nullptr, path_.c_str(), 8, 8, 25), MJE_ERR_PARAM);
  EXPECT_EQ(MJE_CreateCompress(&file_, nullptr, 8, 8, 25), MJE_ERR_PARAM);
  EXPECT_EQ(MJE_CreateCompress(&file_, path_.c_str(), 8, 8, 0), MJE_ERR_PARAM);
  EXPECT_EQ(MJE_WriteFrame(&file_, &byte, 1), MJE_ERR_PARAM);
  EXPECT_EQ(MJE_SetAttribute(&file_, 8, 8, 25), MJE_ERR_PARAM);
  EXPECT_EQ(MJE_FinishCompress(nullptr), MJE_ERR_PARAM);
  EXPECT_EQ(MJE_FinishCompress(&file_), MJE_OK);
  EXPECT_EQ(MJE_CreateCompress(&file_, (dir_ / "no/such/folder").c_str(), 8, 8, 25), MJE_ERR_OPEN);
  EXPECT_EQ(file_, nullptr);
}

TEST_F(AviWriter, UnlocksTheFileThoughAForkedChildHoldsACopy) {
  Create();
  const ForkedPeer child([] { return pause(); });
  EXPECT_EQ(IsFileLocked(path_.c_str()), 1);
  EXPECT_EQ(MJE_FinishCompress(&file_), MJE_OK);
  EXPECT_EQ(IsFileLocked(path_.c_str()), 0);
}

TEST_F(AviWriter, KeepsASecondWriterOffWhoHasTruncatedByThen) {
  Create();
  ASSERT_EQ(Write(std::string(100, 'a')), MJE_OK);
  MJE_HANDLE second = nullptr;
  EXPECT_EQ(MJE_CreateCompress(&second, path_.c_str(), 8, 8, 25), MJE_ERR_OPEN);
  EXPECT_EQ(ReadFile(path_), "");
  EXPECT_EQ(MJE_FinishCompress(&file_), MJE_OK);
}

}  // namespace
