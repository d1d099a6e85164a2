#include "media/mjd.h"

#include <sys/stat.h>

#include "media/aviformat_internal.h"
#include "media/avirepair.h"
#include "media/mje.h"
#include "support/jpegs.h"
#include "support/process.h"

namespace {

Jpeg Frame(unsigned int number) {
  const int quality = 30 + static_cast<int>(number % 60);
  return MakeJpeg({.width = 24, .height = 16, .quality = quality}, number);
}

Jpeg Padded(Jpeg frame) {
  frame.resize((frame.size() + 3) / 4 * 4);
  return frame;
}

class Reader {
 public:
  explicit Reader(const std::string& path)
      : status_(MJD_CreateDecompress(&handle_, path.c_str())) {}
  ~Reader() {
    EXPECT_EQ(MJD_FinishDecompress(handle_), status_ == MJD_OK ? MJD_OK : MJD_ERR_PARAM);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  [[nodiscard]] int Status() const { return status_; }
  MJD_ATTRIBUTE Attribute() {
    MJD_ATTRIBUTE attribute{};
    EXPECT_EQ(MJD_GetAttribute(handle_, &attribute), MJD_OK);
    return attribute;
  }
  int Next(Jpeg& frame, unsigned room = 100000) {
    frame.resize(room);
    const int status = MJD_ReadNextFrame(handle_, frame.data(), &room);
    frame.resize(room);
    return status;
  }
  int Random(unsigned index, Jpeg& frame) {
    unsigned room = 100000;
    frame.resize(room);
    const int status = MJD_ReadRandomFrame(handle_, index, frame.data(), &room);
    frame.resize(room);
    return status;
  }

 private:
  MJD_HANDLE handle_ = nullptr;
  int status_;
};

class Recordings : public ::testing::Test {
 protected:
  // Frames 0 to `frames` - 1; without `finish`, what a killed writer leaves.
  std::string Write(unsigned int frames, bool finish = true) {
    std::string path = dir_ / "a.avi";
    MJE_HANDLE writer = nullptr;
    EXPECT_EQ(MJE_CreateCompress(&writer, path.c_str(), 24, 16, 25), MJE_OK);
    for (unsigned int i = 0; i < frames; ++i) {
      const Jpeg frame = Frame(i);
      EXPECT_EQ(MJE_WriteFrame(&writer, frame.data(), static_cast<unsigned>(frame.size())), MJE_OK);
    }
    unfinished_ = ReadFile(path);
    EXPECT_EQ(MJE_FinishCompress(&writer), MJE_OK);
    finished_ = ReadFile(path);
    if (!finish) WriteFile(path, unfinished_);
    return path;
  }

  TempDir dir_;
  std::string unfinished_;
  std::string finished_;
};

TEST_F(Recordings, AreReadAsTheyWereWritten) {
  Random random(9);
  for (const unsigned int frames : {1U, 2U, 500U, 50000U}) {
    Reader reader(Write(frames));
    ASSERT_EQ(reader.Status(), MJD_OK);
    const MJD_ATTRIBUTE attribute = reader.Attribute();
    EXPECT_EQ(attribute.frame_count, frames);
    EXPECT_EQ(attribute.fps, 25);
    EXPECT_EQ(attribute.width, 24);
    EXPECT_EQ(attribute.height, 16);
    Jpeg frame;
    for (unsigned int i = 0; i < frames; ++i) {
      ASSERT_EQ(reader.Next(frame), MJD_OK) << i;
      ASSERT_EQ(frame, Padded(Frame(i))) << i;
    }
    EXPECT_EQ(reader.Next(frame), MJD_ERR_END);
    for (int i = 0; i < 300; ++i) {
      const unsigned int index = random() % frames;
      ASSERT_EQ(reader.Random(index, frame), MJD_OK) << index;
      ASSERT_EQ(frame, Padded(Frame(index))) << index;
    }
    EXPECT_EQ(reader.Random(frames, frame), MJD_ERR_PARAM);
    EXPECT_EQ(reader.Random(frames - 1, frame), MJD_OK);
    EXPECT_EQ(reader.Next(frame), MJD_ERR_END);
  }
}

TEST_F(Recordings, ASmallBufferCostsNoFrame) {
  Reader reader(Write(3));
  Jpeg frame;
  const auto length = static_cast<unsigned>(Padded(Frame(0)).size());
  EXPECT_EQ(reader.Next(frame, length - 1), MJD_ERR_SMALL);
  EXPECT_EQ(frame.size(), 0U);
  EXPECT_EQ(reader.Next(frame, length), MJD_OK);
  EXPECT_EQ(frame, Padded(Frame(0)));
  unsigned none = 0;
  EXPECT_EQ(MJD_ReadNextFrame(nullptr, frame.data(), &none), MJD_ERR_PARAM);
  EXPECT_EQ(MJD_GetAttribute(nullptr, nullptr), MJD_ERR_PARAM);
  EXPECT_EQ(MJD_FinishDecompress(nullptr), MJD_ERR_PARAM);
  EXPECT_EQ(MJD_CreateDecompress(nullptr, "x"), MJD_ERR_PARAM);
}

TEST_F(Recordings, OfOtherProgramsAreReadToo) {
  for (const std::string name : {"b.avi", "b.matroska", "b.mov"}) {
    const std::string path = dir_ / name;
    (void)OutputOf(
        "ffmpeg -v error -f lavfi -i testsrc=size=64x48:rate=15:duration=2 -f lavfi "
        "-i sine=duration=2 -c:v mjpeg -c:a pcm_s16le -f " +
        name.substr(2) + " " + path);
    Reader reader(path);
    ASSERT_EQ(reader.Status(), MJD_OK) << name;
    EXPECT_EQ(reader.Attribute().fps, 15) << name;
    Jpeg frame;
    Jpeg again;
    for (unsigned int i = 0; i < reader.Attribute().frame_count; ++i) {
      ASSERT_EQ(reader.Next(frame), MJD_OK) << name << i;
      ASSERT_EQ(reader.Random(i, again), MJD_OK) << name << i;
      ASSERT_EQ(frame, again);
    }
  }
}

TEST_F(Recordings, ThatAreNoneEndInACode) {
  const auto fails = [](const std::string& path) { return Reader(path).Status() == MJD_ERR_READ; };
  WriteFile(dir_ / "text", "no recording");
  WriteFile(dir_ / "empty", "");
  ASSERT_EQ(mkfifo((dir_ / "fifo").c_str(), 0600), 0);
  for (const char* name : {"text", "empty", "fifo", "missing", "."})
    EXPECT_TRUE(fails(dir_ / name)) << name;
  EXPECT_TRUE(fails("http://127.0.0.1:9/a.avi"));

  // Cut or changed anywhere: whatever is read is the frame of that number.
  const std::string path = Write(20);
  const std::string whole = ReadFile(path);
  Random random(3);
  for (int round = 0; round < 400; ++round) {
    std::string damaged = whole;
    if (round % 2 == 0) {
      damaged.resize(random() % whole.size());
    } else {
      for (int i = 0; i < 4; ++i) {
        const std::size_t at = round % 4 == 1 ? random() % avi::kFramesAt : random() % whole.size();
        damaged[at] = static_cast<char>(random());
      }
    }
    WriteFile(path, damaged);
    Reader reader(path);
    if (reader.Status() != MJD_OK) continue;
    const unsigned int frames = std::min(reader.Attribute().frame_count, 1000U);
    Jpeg frame;
    for (unsigned int i = 0; i < frames; ++i) (void)reader.Random(i, frame);
    for (unsigned int i = 0; i < frames && reader.Next(frame) != MJD_ERR_END; ++i) continue;
  }
}

TEST_F(Recordings, AreFinishedAfterTheirWriterDied) {
  const std::string path = Write(40, false);
  AviContents contents;
  ASSERT_EQ(InspectAvi(path.c_str(), contents), kAviUnfinished);
  EXPECT_EQ(contents.frames, 40U);
  EXPECT_EQ(contents.width, 24);
  ASSERT_EQ(RepairAvi(path.c_str(), 25, contents), kAviFinished);
  EXPECT_EQ(ReadFile(path), finished_) << "byte for byte what its writer would have made of it";
  EXPECT_EQ(contents.bytes, finished_.size());
  EXPECT_EQ(InspectAvi(path.c_str(), contents), kAviFinished);
  EXPECT_EQ(contents.frames, 40U);

  Random random(4);
  for (int round = 0; round < 200; ++round) {
    const std::string& from = round % 2 == 0 ? unfinished_ : finished_;
    std::string cut = from.substr(0, 300 + random() % (from.size() - 300));
    if (round % 3 == 0) cut += std::string(random() % 4096, '\0');  // what a power cut leaves
    WriteFile(path, cut);
    const auto state = RepairAvi(path.c_str(), 25, contents);
    if (contents.frames == 0) {
      EXPECT_EQ(state, kAviUnfinished);
      EXPECT_EQ(ReadFile(path), cut) << "nothing to save, nothing changed";
      continue;
    }
    ASSERT_EQ(state, kAviFinished) << round;
    Reader reader(path);
    ASSERT_EQ(reader.Attribute().frame_count, contents.frames);
    Jpeg frame;
    for (unsigned int i = 0; i < contents.frames; ++i) {
      ASSERT_EQ(reader.Next(frame), MJD_OK);
      const Jpeg whole = Padded(Frame(i));
      // The last one's bytes may be missing in a part of a page: that cannot be seen.
      if (i + 1 == contents.frames && frame != whole) {
        ASSERT_EQ(round % 3, 0);
        ASSERT_EQ(frame.size(), whole.size());
        ASSERT_EQ(frame[0], 0xFF);
        continue;
      }
      ASSERT_EQ(frame, whole);
    }
  }
}

TEST_F(Recordings, EndWhereAPowerCutHasLeftZeros) {
  struct Case {
    const char* what;
    std::size_t padding;  // zeros behind the end marker, the camera's
    std::size_t lost;     // zeros from the end on, the power cut's
    unsigned int kept;
  };
  for (const Case& one : {Case{"padded", 20000, 0, 3},
                          {"padded, and its padding not written", 20000, 20000, 3},
                          {"not ended, less than a page lost", 0, 300, 3},
                          {"whole pages lost", 20000, 20400, 2}}) {
    SCOPED_TRACE(one.what);
    const std::string path = dir_ / "a.avi";
    MJE_HANDLE writer = nullptr;
    ASSERT_EQ(MJE_CreateCompress(&writer, path.c_str(), 24, 16, 25), MJE_OK);
    for (unsigned int i = 0; i < 3; ++i) {
      Jpeg frame = Frame(i);
      frame.resize(frame.size() + one.padding);
      ASSERT_EQ(MJE_WriteFrame(&writer, frame.data(), static_cast<unsigned>(frame.size())), MJE_OK);
    }
    std::string left = ReadFile(path);
    ASSERT_EQ(MJE_FinishCompress(&writer), MJE_OK);
    std::fill(left.end() - static_cast<std::ptrdiff_t>(one.lost), left.end(), '\0');
    WriteFile(path, left);
    AviContents contents;
    EXPECT_EQ(RepairAvi(path.c_str(), 25, contents), watchpost::kAviFinished);
    EXPECT_EQ(contents.frames, one.kept);
  }
  AviContents contents;
  for (const std::size_t zeros : {0U, 4096U}) {
    WriteFile(dir_ / "a.avi", std::string(zeros, '\0'));
    EXPECT_EQ(InspectAvi((dir_ / "a.avi").c_str(), contents), watchpost::kAviEmpty);
  }
}

TEST_F(Recordings, OfOthersAndBusyOnesAreNotRepaired) {
  AviContents contents;
  const std::string path = Write(5, false);
  {
    const UniqueFd fd = LockFile(path);
    EXPECT_EQ(RepairAvi(path.c_str(), 25, contents), kAviBusy);
  }
  EXPECT_EQ(ReadFile(path), unfinished_);
  std::string foreign = unfinished_;
  foreign[100] = 'X';
  WriteFile(path, foreign);
  EXPECT_EQ(RepairAvi(path.c_str(), 25, contents), kAviForeign);
  EXPECT_EQ(ReadFile(path), foreign);
  EXPECT_EQ(InspectAvi((dir_ / "missing").c_str(), contents), kAviUnreadable);
  EXPECT_EQ(InspectAvi(nullptr, contents), kAviUnreadable);
}

}  // namespace
