#include "exporter.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

namespace wpctl {
namespace {

constexpr std::size_t kFirstBuffer = 256 << 10;
constexpr std::size_t kLargestFrame = 256 << 20;

// Calls `use(frame)` for every frame; stops when it returns false.
template <typename Use>
bool ForEachFrame(const std::vector<Segment>& segments,
                  Progress& progress,
                  std::string& error,
                  Use use) {
  const auto all = static_cast<double>(CountFrames(segments));
  double done = 0;
  for (const Segment& segment : segments) {
    FrameReader reader(segment.recording.path);
    for (unsigned i = segment.first; i < segment.first + segment.count; ++i) {
      const std::vector<unsigned char>* frame = nullptr;
      if (!reader.IsOpen() || reader.Read(i, frame) != MJD_OK) {
        error = "cannot read frame " + std::to_string(i + 1) + " of " + segment.recording.path;
        return false;
      }
      if (!use(*frame)) return false;
      progress.Show(++done / all, segment.recording.event.GetPath());
    }
  }
  return true;
}

}  // namespace

FrameReader::FrameReader(const std::string& path) : frame_(kFirstBuffer) {
  MJD_HANDLE handle = nullptr;
  if (MJD_CreateDecompress(&handle, path.c_str()) != MJD_OK) return;
  handle_.reset(handle);
  (void)MJD_GetAttribute(handle, &attribute_);  // it is open
}

int FrameReader::Read(unsigned index, const std::vector<unsigned char>*& frame) {
  frame_.resize(std::max(frame_.capacity(), kFirstBuffer));
  for (;;) {
    auto size = static_cast<unsigned>(frame_.size());
    const int status = MJD_ReadRandomFrame(handle_.get(), index, frame_.data(), &size);
    if (status == MJD_ERR_SMALL && frame_.size() < kLargestFrame) {
      frame_.resize(2 * frame_.size());
      continue;
    }
    if (status == MJD_OK) frame_.resize(size);
    frame = &frame_;
    return status;
  }
}

Segment CutOut(const Recording& recording, const FrameReader& reader, long from, long until) {
  const unsigned frames = reader.Attribute().frame_count;
  const long start = recording.event.GetStartTime();
  const auto seconds = static_cast<double>(std::max(1L, recording.event.GetStopTime() - start));
  const double rate = frames / seconds;
  const auto at = [&](double moment) {
    return static_cast<unsigned>(
        std::clamp(std::ceil(moment * rate), 0.0, static_cast<double>(frames)));
  };
  const unsigned first = from == 0 ? 0 : at(static_cast<double>(from - start));
  const unsigned end = until == 0 ? frames : at(static_cast<double>(until - start));
  return {recording, first, end > first ? end - first : 0};
}

unsigned long CountFrames(const std::vector<Segment>& segments) {
  unsigned long frames = 0;
  for (const Segment& segment : segments) frames += segment.count;
  return frames;
}

bool Export(const std::vector<Segment>& segments,
            const std::string& path,
            Progress& progress,
            std::string& error) {
  const Event& first = segments.front().recording.event;
  const auto width = static_cast<std::uint16_t>(first.GetVideoWidth());
  const auto height = static_cast<std::uint16_t>(first.GetVideoHeight());
  const FrameReader reader(segments.front().recording.path);
  const std::uint16_t fps = std::max<std::uint8_t>(1, reader.Attribute().fps);
  MJE_HANDLE writer = nullptr;
  if (MJE_CreateCompress(&writer, path.c_str(), width, height, fps) != MJE_OK) {
    error = "cannot write " + path + ": " + strerror(errno);
    return false;
  }
  bool good = ForEachFrame(segments, progress, error, [&](const std::vector<unsigned char>& frame) {
    const int status = MJE_WriteFrame(&writer, frame.data(), static_cast<unsigned>(frame.size()));
    if (status == MJE_ERR_FULL)
      error = "one file takes 2 GiB at most; export a shorter span";
    else if (status != MJE_OK)
      error = "cannot write " + path + ": " + strerror(errno);
    return status == MJE_OK;
  });
  if (MJE_FinishCompress(&writer) != MJE_OK && good) {
    error = "cannot write " + path + ": " + strerror(errno);
    good = false;
  }
  if (!good) (void)unlink(path.c_str());
  return good;
}

bool VerifyExport(const std::vector<Segment>& segments,
                  const std::string& path,
                  Progress& progress,
                  std::string& error) {
  FrameReader exported(path);
  unsigned number = 0;
  const auto same = [&](const std::vector<unsigned char>& frame) {
    const std::vector<unsigned char>* copy = nullptr;
    if (!exported.IsOpen() || exported.Read(number, copy) != MJD_OK || *copy != frame) {
      error = path + ": frame " + std::to_string(number + 1) + " is not what was exported";
      return false;
    }
    ++number;
    return true;
  };
  if (!ForEachFrame(segments, progress, error, same)) return false;
  if (exported.Attribute().frame_count == number) return true;
  error = path + " has " + std::to_string(exported.Attribute().frame_count) + " frames, not " +
          std::to_string(number);
  return false;
}

}  // namespace wpctl
