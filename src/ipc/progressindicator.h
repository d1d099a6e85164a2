// The progress of a long operation, one number, for other processes to ask. Single-writer: one
// process sets the value, any number read it.
#pragma once

#include <cstdint>
#include <string>

#include "base/export.h"

/// The value lies in 4 bytes of shared memory, found through the key file "/tmp/progress-" and the
/// identifier. The writer makes both at its first Set or Get, and removes both when it is
/// destroyed.
class WATCHPOST_API ProgressIndicator {
 public:
  /// `identifier` names the operation. Makes nothing yet.
  ProgressIndicator(long long identifier, bool writer) noexcept;
  ~ProgressIndicator();
  ProgressIndicator(const ProgressIndicator&) = delete;
  ProgressIndicator& operator=(const ProgressIndicator&) = delete;

  /// The value; -1 when it cannot be reached, for a reader silently while there is no writer.
  int Get() noexcept;

  /// Stores the value. Returns 0; -1, with a line in the system log, for a reader and when the
  /// memory cannot be had.
  int Set(int value) noexcept;

 private:
  [[nodiscard]] std::string strTmpPath() const;
  [[nodiscard]] int KeyFileCreate() const noexcept;
  [[nodiscard]] int KeyFileRemove() const noexcept;
  int ShmGet() noexcept;
  int ShmRelease() noexcept;

  std::int64_t identifier_;
  bool writer_;
  int segment_id_ = -1;
  std::int32_t* value_ = nullptr;
};
