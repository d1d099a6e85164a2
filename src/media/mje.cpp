#include "media/mje.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "base/list.h"
#include "base/uniquefd.h"
#include "media/avibuilder_internal.h"

namespace avi = watchpost::avi;

namespace {

struct IndexEntry {
  std::uint32_t size;    // padded size of the chunk's data
  std::uint32_t offset;  // of the chunk, from the "movi" code
};

struct IndexDeleter {
  void operator()(list_node* first) const noexcept { list_rerased(first); }
};

}  // namespace

struct MJE_STATE {
  MJE_STATE() = default;
  MJE_STATE(const MJE_STATE&) = delete;
  MJE_STATE& operator=(const MJE_STATE&) = delete;
  // Closing alone would leave the file locked for as long as a forked child holds a copy of the
  // descriptor.
  ~MJE_STATE() {
    if (fd.IsValid()) (void)flock(fd.Get(), LOCK_UN | LOCK_NB);
  }

  std::array<char, 4096> path{};
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  std::uint16_t fps = 0;
  std::unique_ptr<list_node, IndexDeleter>
      index;                        // one node a frame; one without data before the first
  list_node* index_back = nullptr;  // its last node, so that appending costs no walk
  const IndexEntry* last_entry = nullptr;
  avi::FrameTotals totals;
  watchpost::UniqueFd fd;
  avi::Header header;
  // Of one call, kept for the next:
  std::vector<std::array<unsigned char, avi::kChunkHeaderSize>> heads;
  std::vector<iovec> pieces;
};

namespace {

// Writes all of it; false as soon as a write fails.
bool WriteAll(int fd, const unsigned char* buffer, std::size_t length) {
  while (length > 0) {
    const ssize_t n = write(fd, buffer, length);
    if (n < 0) return false;
    buffer += n;
    length -= static_cast<std::size_t>(n);
  }
  return true;
}

// The same for gathered pieces, in one system call unless the kernel takes less.
bool WriteAll(int fd, std::vector<iovec>& pieces) {
  constexpr std::size_t kMostAtOnce = 1024;  // IOV_MAX of Linux
  std::size_t first = 0;
  while (first < pieces.size()) {
    const std::size_t count = std::min(pieces.size() - first, kMostAtOnce);
    const ssize_t n = writev(fd, pieces.data() + first, static_cast<int>(count));
    if (n < 0) return false;
    auto written = static_cast<std::size_t>(n);
    while (first < pieces.size() && written >= pieces[first].iov_len)
      written -= pieces[first++].iov_len;
    if (first == pieces.size()) break;
    pieces[first].iov_base = static_cast<unsigned char*>(pieces[first].iov_base) + written;
    pieces[first].iov_len -= written;
  }
  return true;
}

bool WriteAviHeader(const MJE_STATE& state, std::uint32_t riff_size) {
  const avi::FileStart start = avi::BuildStart(state.header, riff_size, state.totals.MoviSize());
  return WriteAll(state.fd.Get(), start.data(), start.size());
}

// Without a frame the index chunk is empty, and yet the first 8 bytes of an entry follow: readers
// of these files rely on nothing behind the chunk, and files have always ended so.
bool WriteTailToFile(const MJE_STATE& state) {
  constexpr std::size_t kEntriesAtOnce = 4096;
  std::array<unsigned char, avi::kIndexEntrySize * kEntriesAtOnce> block;
  avi::StoreChunkHead(block.data(), avi::kIndexCode, state.totals.IndexSize());
  std::size_t held = avi::kChunkHeaderSize;
  for (const list_node* node = state.index.get(); node != nullptr; node = node->next) {
    if (held + avi::kIndexEntrySize > block.size()) {
      if (!WriteAll(state.fd.Get(), block.data(), held)) return false;
      held = 0;
    }
    const auto* entry = static_cast<const IndexEntry*>(node->data);
    const IndexEntry none{};
    const IndexEntry& written = entry == nullptr ? none : *entry;
    avi::StoreIndexEntry(block.data() + held, written.offset, written.size);
    held += entry == nullptr ? avi::kEmptyTail : avi::kIndexEntrySize;
  }
  return WriteAll(state.fd.Get(), block.data(), held);
}

int OpenFile(MJE_STATE& state) {
  const int fd = open(state.path.data(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return MJE_ERR_OPEN;
  state.fd.Reset(fd);
  // The file is truncated before the lock is tried: whoever holds it has lost its frames by now.
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) return MJE_ERR_OPEN;
  if (!WriteAviHeader(state, 0)) return MJE_ERR_WRITE;
  state.index.reset(list_push_back(nullptr, nullptr));
  state.index_back = state.index.get();
  return state.index == nullptr ? MJE_ERR_MEMORY : MJE_OK;
}

// Adds an entry for the next frame to the index; null when memory runs out.
IndexEntry* AllocJpegDataToList(MJE_STATE& state) {
  auto* entry = static_cast<IndexEntry*>(std::calloc(1, sizeof(IndexEntry)));
  if (entry == nullptr) return nullptr;
  if (state.index->data == nullptr) {
    state.index->data = entry;
    return entry;
  }
  list_node* added = list_push_back(state.index_back, entry);
  if (added == nullptr) {
    std::free(entry);
    return nullptr;
  }
  state.index_back = added;
  return entry;
}

// Takes the last entry back. The first node always stays.
void RemoveLastEntry(MJE_STATE& state) {
  if (state.index_back == state.index.get()) {
    std::free(state.index->data);
    state.index->data = nullptr;
    return;
  }
  list_node* before = state.index_back->prev;
  (void)list_popd_back(state.index_back);  // nothing follows the last node
  state.index_back = before;
}

// Adds entries for frames to the index; false, with none added, when memory runs out.
bool AddEntries(MJE_STATE& state, std::span<const watchpost::FrameBytes> frames) {
  const IndexEntry* last = state.last_entry;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    IndexEntry* entry = AllocJpegDataToList(state);
    if (entry == nullptr) {
      while (i-- > 0) RemoveLastEntry(state);
      return false;
    }
    entry->size = static_cast<std::uint32_t>(avi::PaddedSize(frames[i].size));
    entry->offset =
        last == nullptr
            ? avi::kFirstFrameOffset
            : static_cast<std::uint32_t>(last->offset + last->size + avi::kChunkHeaderSize);
    last = entry;
  }
  return true;
}

bool WriteChunks(MJE_STATE& state, std::span<const watchpost::FrameBytes> frames) {
  static unsigned char zeros[avi::kFrameAlignment] = {};  // never written to
  state.heads.resize(frames.size());
  state.pieces.clear();
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto padded = static_cast<std::size_t>(avi::PaddedSize(frames[i].size));
    avi::StoreChunkHead(state.heads[i].data(), avi::kFrameCode, static_cast<std::uint32_t>(padded));
    state.pieces.push_back({state.heads[i].data(), state.heads[i].size()});
    state.pieces.push_back({const_cast<unsigned char*>(frames[i].data), frames[i].size});
    state.pieces.push_back({zeros, padded - frames[i].size});
  }
  return WriteAll(state.fd.Get(), state.pieces);
}

int AppendFrames(MJE_STATE& state, std::span<const watchpost::FrameBytes> frames) {
  avi::FrameTotals totals = state.totals;
  for (const watchpost::FrameBytes& frame : frames) {
    if (frame.data == nullptr || frame.size == 0) return MJE_ERR_PARAM;
    const std::uint64_t padded = avi::PaddedSize(frame.size);
    if (!totals.HasRoomFor(padded)) return MJE_ERR_FULL;
    totals.Add(padded);
  }
  if (!AddEntries(state, frames)) return MJE_ERR_MEMORY;
  if (!WriteChunks(state, frames)) {
    const auto end = static_cast<off_t>(state.totals.End());
    // A file that cannot be cut keeps half a chunk behind its last frame, which finishing writes
    // over.
    (void)lseek(state.fd.Get(), end, SEEK_SET);
    (void)ftruncate(state.fd.Get(), end);
    for (std::size_t i = 0; i < frames.size(); ++i) RemoveLastEntry(state);
    return MJE_ERR_WRITE;
  }
  state.last_entry = static_cast<const IndexEntry*>(state.index_back->data);
  state.totals = totals;
  return MJE_OK;
}

}  // namespace

int MJE_CreateCompress(MJE_HANDLE* handle,
                       const char* path,
                       std::uint16_t width,
                       std::uint16_t height,
                       std::uint16_t fps) noexcept {
  if (handle == nullptr) return MJE_ERR_PARAM;
  *handle = nullptr;
  if (path == nullptr || width == 0 || height == 0 || fps == 0) return MJE_ERR_PARAM;
  std::unique_ptr<MJE_STATE> state(new (std::nothrow) MJE_STATE);
  if (state == nullptr) return MJE_ERR_MEMORY;
  (void)std::snprintf(state->path.data(), state->path.size(), "%s", path);
  state->width = width;
  state->height = height;
  state->fps = fps;
  const int status = OpenFile(*state);
  if (status == MJE_OK) *handle = state.release();
  return status;
}

int MJE_WriteFrame(MJE_HANDLE* handle, const unsigned char* data, unsigned int size) noexcept {
  const watchpost::FrameBytes frame{data, size};
  return watchpost::WriteFrames(handle, {&frame, 1});
}

int MJE_SetAttribute(MJE_HANDLE* handle,
                     std::uint16_t width,
                     std::uint16_t height,
                     std::uint16_t fps) noexcept {
  if (handle == nullptr || *handle == nullptr) return MJE_ERR_PARAM;
  if (width == 0 || height == 0 || fps == 0) return MJE_ERR_PARAM;
  (*handle)->width = width;
  (*handle)->height = height;
  (*handle)->fps = fps;
  return MJE_OK;
}

int MJE_FinishCompress(MJE_HANDLE* handle) noexcept {
  if (handle == nullptr) return MJE_ERR_PARAM;
  const std::unique_ptr<MJE_STATE> state(*handle);
  *handle = nullptr;
  if (state == nullptr) return MJE_OK;
  bool written = WriteTailToFile(*state);
  state->header.Update({.frames = state->totals.frames,
                        .width = state->width,
                        .height = state->height,
                        .micros_per_frame = avi::kTimeBase / state->fps,
                        .data_bytes = state->totals.data_bytes});
  written = lseek(state->fd.Get(), 0, SEEK_SET) == 0 &&
            WriteAviHeader(*state, state->totals.RiffSize()) && written;
  return written ? MJE_OK : MJE_ERR_WRITE;
}

namespace watchpost {

int WriteFrames(MJE_HANDLE* handle, std::span<const FrameBytes> frames) noexcept {
  if (handle == nullptr || *handle == nullptr || frames.empty()) return MJE_ERR_PARAM;
  return AppendFrames(**handle, frames);
}

std::uint64_t WrittenBytes(MJE_HANDLE handle) noexcept {
  return handle == nullptr ? 0 : handle->totals.End();
}

std::uint64_t FinishedBytes(MJE_HANDLE handle) noexcept {
  return handle == nullptr ? 0 : avi::kRiffTypeAt + std::uint64_t{handle->totals.RiffSize()};
}

}  // namespace watchpost
