// The recording daemons' settings: section [wpd] of the appliance's configuration.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "base/export.h"

namespace watchpost {

/// A setting stands here, with its default, and in the table of daemonsettings.cpp, with its key,
/// range and unit.
struct DaemonSettings {
  /// Between updates of a running recording's row.
  std::chrono::seconds row_interval{5};
  /// Between syncs of the file that is being written.
  std::chrono::seconds sync_interval{5};
  /// Longest recording.
  std::chrono::seconds cut_after{1800};
  /// Largest recording, bytes.
  std::uint64_t cut_bytes = 1024ULL << 20;
  /// A camera without a whole frame for so long is lost.
  std::chrono::seconds frame_timeout{15};
  /// A longer frame is dropped, bytes.
  std::uint64_t largest_frame = 8ULL << 20;
  /// Shared memory for live frames, bytes; 0 for none.
  std::uint64_t ring_size = 1ULL << 20;
  /// Recorded before motion, and after it.
  std::chrono::seconds motion_before{5};
  std::chrono::seconds motion_after{5};
  /// In hours of motion, frames that cannot be judged are recorded as if something moved.
  bool record_unjudged = true;
  /// Most memory for frames before motion, bytes.
  std::uint64_t history_bytes = 16ULL << 20;
  /// Free space that is kept by removing the oldest, bytes.
  std::uint64_t floor_bytes = 64ULL << 20;
  /// Free space that is wanted before recording goes on, bytes.
  std::uint64_t reserve_bytes = 16ULL << 20;
  /// Trouble is over after so long without it, as far as mails are concerned.
  std::chrono::seconds mail_steady{30};
};

/// Reads the section. What is missing or invalid keeps its default; `problems` receives a line for
/// each invalid value.
WATCHPOST_API DaemonSettings LoadDaemonSettings(std::vector<std::string>& problems);

}  // namespace watchpost
