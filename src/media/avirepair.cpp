#include "media/avirepair.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <vector>

#include "base/byteorder_internal.h"
#include "base/uniquefd.h"
#include "media/avibuilder_internal.h"
#include "media/jpegsize.h"

namespace watchpost {
namespace {

bool ReadAt(int fd, std::uint64_t at, unsigned char* to, std::size_t length) {
  while (length > 0) {
    const ssize_t n = pread(fd, to, length, static_cast<off_t>(at));
    if (n <= 0) return false;
    to += n;
    at += static_cast<std::uint64_t>(n);
    length -= static_cast<std::size_t>(n);
  }
  return true;
}

bool WriteAt(int fd, std::uint64_t at, const unsigned char* from, std::size_t length) {
  while (length > 0) {
    const ssize_t n = pwrite(fd, from, length, static_cast<off_t>(at));
    if (n <= 0) return false;
    from += n;
    at += static_cast<std::uint64_t>(n);
    length -= static_cast<std::size_t>(n);
  }
  return true;
}

std::uint64_t SizeOf(int fd) {
  struct stat status {};
  return fstat(fd, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

// The whole frames from the first one on.
struct Frames {
  std::vector<std::uint32_t> sizes;  // padded
  avi::FrameTotals totals;
};

// The size of the whole frame chunk at `at`; nothing when there is none.
std::optional<std::uint32_t> FrameAt(int fd, std::uint64_t at, std::uint64_t file_size) {
  unsigned char head[avi::kChunkHeaderSize];
  if (at + sizeof head > file_size || !ReadAt(fd, at, head, sizeof head)) return std::nullopt;
  const std::uint32_t size = LoadLe32(head + 4);
  if (std::memcmp(head, avi::kFrameCode, 4) != 0 || size == 0 || size % avi::kFrameAlignment != 0 ||
      at + sizeof head + size > file_size) {
    return std::nullopt;
  }
  return size;
}

Frames FindFrames(int fd, std::uint64_t file_size) {
  Frames frames;
  while (const auto size = FrameAt(fd, frames.totals.End(), file_size)) {
    frames.sizes.push_back(*size);
    frames.totals.Add(*size);
  }
  return frames;
}

// Whether a power cut has kept a part of a frame's bytes from the disk: then a whole page of them
// is zero. A frame that begins and ends as a JPEG is there, whatever lies between; a camera may pad
// its frames with zeros.
bool IsWritten(std::uint64_t at, const std::vector<unsigned char>& frame) {
  if (frame.size() < 2 || frame[0] != 0xFF || frame[1] != 0xD8) return false;
  const auto last =
      std::find_if(frame.rbegin(), frame.rend(), [](unsigned char c) { return c != 0; });
  if (last != frame.rend() && *last == 0xD9 && last + 1 != frame.rend() && last[1] == 0xFF)
    return true;
  constexpr std::uint64_t kPage = 4096;
  const std::uint64_t end = at + frame.size();
  for (std::uint64_t page = (at + kPage - 1) / kPage * kPage; page + kPage <= end; page += kPage) {
    const auto first = frame.begin() + static_cast<std::ptrdiff_t>(page - at);
    if (std::all_of(first, first + kPage, [](unsigned char c) { return c == 0; })) return false;
  }
  return true;
}

std::vector<unsigned char> ReadFrame(int fd, std::uint64_t at, std::uint32_t size) {
  std::vector<unsigned char> frame(size);
  if (!ReadAt(fd, at, frame.data(), frame.size())) frame.clear();
  return frame;
}

// Drops a last frame that was not written whole. One with a frame after it was: files grow from
// front to back.
void DropUnwrittenFrame(int fd, Frames& frames) {
  if (frames.sizes.empty()) return;
  const std::uint32_t size = frames.sizes.back();
  const std::uint64_t at = frames.totals.End() - size;
  if (IsWritten(at, ReadFrame(fd, at, size))) return;
  frames.sizes.pop_back();
  --frames.totals.frames;
  frames.totals.data_bytes -= size;
}

// Width and height of the first frame.
std::optional<PictureSize> FirstPicture(int fd, const Frames& frames) {
  if (frames.sizes.empty()) return std::nullopt;
  const auto frame = ReadFrame(fd, avi::kFramesAt + avi::kChunkHeaderSize, frames.sizes[0]);
  return ReadJpegSize(frame.data(), frame.size());
}

// Whether the file says of itself that it is finished: sizes that fit it, and an index of every
// frame.
bool IsFinished(int fd,
                const avi::FileStart& start,
                std::uint64_t file_size,
                std::uint32_t& frames) {
  const std::uint64_t riff_size = LoadLe32(start.data() + avi::kRiffSizeAt);
  const std::uint64_t movi_end =
      avi::kMoviCodeAt + std::uint64_t{LoadLe32(start.data() + avi::kMoviSizeAt)};
  unsigned char head[avi::kChunkHeaderSize];
  if (riff_size == 0 || movi_end < avi::kFramesAt || !ReadAt(fd, movi_end, head, sizeof head))
    return false;
  const std::uint64_t index_size = LoadLe32(head + 4);
  if (std::memcmp(head, avi::kIndexCode, 4) != 0 || index_size % avi::kIndexEntrySize != 0)
    return false;
  frames = static_cast<std::uint32_t>(index_size / avi::kIndexEntrySize);
  const std::uint64_t end =
      movi_end + sizeof head + index_size + (frames == 0 ? avi::kEmptyTail : 0);
  return end == file_size && frames == avi::FramesOf(start.data() + avi::kHeaderAt);
}

struct Opened {
  UniqueFd fd;
  avi::FileStart start{};
  AviState state = kAviUnreadable;
};

Opened Open(const char* path, int flags) {
  Opened opened;
  opened.fd.Reset(open(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  struct stat status {};
  if (!opened.fd.IsValid() || fstat(opened.fd.Get(), &status) != 0) return opened;
  opened.state = kAviForeign;
  if (!S_ISREG(status.st_mode)) return opened;
  if (flock(opened.fd.Get(), LOCK_SH | LOCK_NB) != 0) {
    opened.state = kAviBusy;
    return opened;
  }
  const std::size_t held =
      std::min<std::size_t>(static_cast<std::size_t>(status.st_size), opened.start.size());
  if (!ReadAt(opened.fd.Get(), 0, opened.start.data(), held)) return opened;
  const bool zeroed =
      std::all_of(opened.start.begin(), opened.start.end(), [](unsigned char c) { return c == 0; });
  if (zeroed)
    opened.state = kAviEmpty;
  else if (held == opened.start.size() && avi::HasOurLayout(opened.start))
    opened.state = kAviUnfinished;
  return opened;
}

// Leaves the state as it is unless the file turns out to be finished.
Frames Examine(Opened& opened, AviContents& contents) {
  const std::uint64_t file_size = SizeOf(opened.fd.Get());
  contents.bytes = file_size;
  Frames frames;
  if (IsFinished(opened.fd.Get(), opened.start, file_size, contents.frames)) {
    opened.state = kAviFinished;
    const PictureSize size = avi::PictureSizeOf(opened.start.data() + avi::kHeaderAt);
    contents.width = size.width;
    contents.height = size.height;
    return frames;
  }
  frames = FindFrames(opened.fd.Get(), file_size);
  DropUnwrittenFrame(opened.fd.Get(), frames);
  contents.frames = frames.totals.frames;
  if (const auto size = FirstPicture(opened.fd.Get(), frames)) {
    contents.width = size->width;
    contents.height = size->height;
  }
  return frames;
}

std::vector<unsigned char> IndexOf(const Frames& frames) {
  std::vector<unsigned char> index(avi::kChunkHeaderSize + frames.totals.IndexSize());
  avi::StoreChunkHead(index.data(), avi::kIndexCode, frames.totals.IndexSize());
  unsigned char* to = index.data() + avi::kChunkHeaderSize;
  std::uint32_t offset = avi::kFirstFrameOffset;
  for (const std::uint32_t size : frames.sizes) {
    avi::StoreIndexEntry(to, offset, size);
    offset += static_cast<std::uint32_t>(avi::kChunkHeaderSize) + size;
    to += avi::kIndexEntrySize;
  }
  return index;
}

avi::FileStart StartOf(const Frames& frames, const AviContents& contents, std::uint16_t fps) {
  avi::Header header;
  header.Update({.frames = frames.totals.frames,
                 .width = contents.width,
                 .height = contents.height,
                 .micros_per_frame = avi::kTimeBase / std::max<std::uint32_t>(fps, 1),
                 .data_bytes = frames.totals.data_bytes});
  return avi::BuildStart(header, frames.totals.RiffSize(), frames.totals.MoviSize());
}

}  // namespace

AviState InspectAvi(const char* path, AviContents& contents) noexcept {
  contents = {};
  if (path == nullptr) return kAviUnreadable;
  Opened opened = Open(path, O_RDONLY);
  if (opened.state == kAviUnfinished) (void)Examine(opened, contents);  // the state is the answer
  return opened.state;
}

AviState RepairAvi(const char* path, std::uint16_t fps, AviContents& contents) noexcept {
  contents = {};
  if (path == nullptr) return kAviUnreadable;
  Opened opened = Open(path, O_RDWR);
  if (opened.state != kAviUnfinished) return opened.state;
  const int fd = opened.fd.Get();
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) return kAviBusy;
  struct stat status {};
  if (fstat(fd, &status) != 0) return kAviUnreadable;
  const Frames frames = Examine(opened, contents);
  if (opened.state != kAviUnfinished || frames.sizes.empty() || contents.width == 0)
    return opened.state;
  const std::uint64_t end = frames.totals.End();
  const std::vector<unsigned char> index = IndexOf(frames);
  const avi::FileStart start = StartOf(frames, contents, fps);
  // The header last: until it is there, the file is unfinished.
  const bool written = ftruncate(fd, static_cast<off_t>(end)) == 0 &&
                       WriteAt(fd, end, index.data(), index.size()) && fdatasync(fd) == 0 &&
                       WriteAt(fd, 0, start.data(), start.size()) && fdatasync(fd) == 0;
  contents.bytes = end + index.size();
  // When its last frame was written is known from the file alone, also to who finds it repaired.
  const timespec times[] = {status.st_atim, status.st_mtim};
  (void)futimens(fd, times);
  return written ? kAviFinished : kAviUnfinished;
}

}  // namespace watchpost
