// The motion level of every frame of a recording, in the stream "ORVAWP:MOTION.log" beside it
// (docs/motion-log.md). Single-writer: one thread uses an object, and one object writes a log.
#pragma once

#include <span>
#include <string>

#include "base/export.h"

class WATCHPOST_API MDLog {
 public:
  /// Creates the log of the recording at `path` and writes its start. The low byte of `headerByte`
  /// is kept for the reader: the recorder stores the sensitivity (1 to 100) there. A log that
  /// cannot be created is noticed by WriteLevel.
  MDLog(std::string path, int headerByte) noexcept;

  /// Writes the number of levels into the log and closes it.
  ~MDLog();

  MDLog(const MDLog&) = delete;
  MDLog& operator=(const MDLog&) = delete;

  /// Appends the low byte of `level` (0 to 100). Returns 0, or -1 when it could not be written.
  int WriteLevel(int level) noexcept;
  /// The same for several, in one write.
  int WriteLevels(std::span<const unsigned char> levels) noexcept;

  /// Writes `value` at the present position as four bytes, the least significant first. A part of
  /// the constructor and the destructor.
  void PrintQuartet(int value) noexcept;

 private:
  int fd_ = -1;
  int count_ = 0;
};

/// Finishes the log of a recording of `frames` frames whose writer died: cuts what is too much,
/// adds levels of 0 where some are missing, and writes the count. Returns 0; -1 when there is no
/// log, or it cannot be written.
WATCHPOST_API int RepairMotionLog(const std::string& path, int frames) noexcept;

/// Reads the log of the recording at `path` into `levels`, which has room for `frames` bytes, and
/// its header byte into `headerByte` (-1 for a 0). Returns the number of levels. Returns -1 when
/// there is no log, when it does not hold exactly `frames` levels (with a line in the system log),
/// or when it ends early.
WATCHPOST_API int FetchMotionLevel(unsigned char* levels,
                                   int frames,
                                   std::string path,
                                   int& headerByte) noexcept;
