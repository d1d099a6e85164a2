// What the daemon is doing, in "/var/run/orva/wpd-ID.json", for whoever asks how cameras are. One
// thread uses an object.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>

namespace wpd {

/// Why nothing is being recorded at a moment.
struct Idle {
  bool trouble = false;  ///< it should be
  std::string reason;    ///< empty while something is recorded
};

/// The state of recording at a moment.
struct Activity {
  std::uint64_t frames = 0;  ///< delivered since the daemon's start
  std::string file;          ///< path of the recording at hand, empty without one
  Idle idle;
  int level = 0;  ///< motion level of the last frame that was judged
};

class StatusFile {
 public:
  explicit StatusFile(int camera_id);
  /// Removes the file.
  ~StatusFile();
  StatusFile(const StatusFile&) = delete;
  StatusFile& operator=(const StatusFile&) = delete;

  /// Writes the file anew, every two seconds at most. What cannot be written is left out: nothing
  /// depends on it.
  void Update(const Activity& activity);

 private:
  using Clock = std::chrono::steady_clock;

  const std::string path_;
  const time_t since_;
  Clock::time_point next_;
  Clock::time_point counted_at_;
  std::uint64_t counted_ = 0;  // frames at counted_at_
};

}  // namespace wpd
