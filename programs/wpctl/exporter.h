// Recordings, or parts of them, put together in one file without encoding anything anew.
#pragma once

#include <watchpost/media/mjd.h>
#include <watchpost/media/mje.h>

#include <memory>
#include <string>
#include <vector>

#include "progress.h"
#include "recordings.h"

namespace wpctl {

/// A recording that is being read.
class FrameReader {
 public:
  /// Not open when the file cannot be read as a recording.
  explicit FrameReader(const std::string& path);

  [[nodiscard]] bool IsOpen() const { return handle_ != nullptr; }
  [[nodiscard]] const MJD_ATTRIBUTE& Attribute() const { return attribute_; }

  /// Reads frame `index`, counted from 0. The bytes stay valid until the next call; an MJD_STATUS.
  int Read(unsigned index, const std::vector<unsigned char>*& frame);

 private:
  struct Closer {
    void operator()(MJD_STATE* handle) const { (void)MJD_FinishDecompress(handle); }  // it is open
  };
  std::unique_ptr<MJD_STATE, Closer> handle_;
  MJD_ATTRIBUTE attribute_{};
  std::vector<unsigned char> frame_;
};

/// A part of one recording: frames `first` to `first` + `count` - 1.
struct Segment {
  Recording recording;
  unsigned first, count;
};

/// The frames of a recording that lie between two moments, by the recording's own rate; 0 is no
/// bound.
Segment CutOut(const Recording& recording, const FrameReader& reader, long from, long until);

unsigned long CountFrames(const std::vector<Segment>& segments);

/// Writes the segments into `path`, which must not exist. False, with `error` filled and no file
/// left, when a frame cannot be read or written.
bool Export(const std::vector<Segment>& segments,
            const std::string& path,
            Progress& progress,
            std::string& error);

/// Reads the file back and compares every frame.
bool VerifyExport(const std::vector<Segment>& segments,
                  const std::string& path,
                  Progress& progress,
                  std::string& error);

}  // namespace wpctl
