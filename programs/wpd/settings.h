// The daemon's own settings: section [wpd] of the appliance's configuration.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace wpd {

struct Settings {
  std::chrono::seconds row_interval{5};   ///< between updates of a running recording's row, 1 to 60
  std::chrono::seconds sync_interval{5};  ///< between syncs of the file being written, 1 to 60
  std::chrono::seconds cut_after{1800};   ///< longest recording, 10 to 86400
  std::uint64_t cut_bytes = 1024ULL << 20;  ///< largest recording; in MiB, 1 to 1900
  std::chrono::seconds frame_timeout{
      15};  ///< a camera without a whole frame for so long is lost, 1 to 300
  std::uint32_t largest_frame = 8U << 20;  ///< a longer frame is dropped; in KiB, 64 to 65536
  std::uint32_t ring_size =
      1U << 20;  ///< shared memory for live frames; in KiB, 64 to 8192, or 0 for none
  std::chrono::seconds motion_before{5};  ///< recorded before motion, 0 to 60
  std::chrono::seconds motion_after{5};   ///< recorded after motion, 1 to 600
  std::size_t history_bytes =
      16U << 20;  ///< most memory for frames before motion; in MiB, 1 to 256
  std::uint64_t floor_bytes =
      64ULL << 20;  ///< free space that is kept by removing the oldest; in MiB, 1 to 1048576
  std::chrono::seconds mail_steady{30};  ///< a spell of trouble is over after so long, 1 to 3600
  std::uint64_t reserve_bytes =
      16ULL << 20;  ///< free space wanted before recording goes on; in MiB, 1 to 65536
};

/// Reads the section. What is missing, or makes no sense (a line in the log each), keeps its
/// default.
Settings LoadSettings();

}  // namespace wpd
