// Follows a camera's live frames in a thread of its own and measures them.
#pragma once

#include <watchpost/ipc/ringfollower.h>
#include <watchpost/media/jpegsize.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace wpctl {

/// What was seen so far. Rate, size and delay are those of the last two seconds.
struct WatchReport {
  CAM_CONN_STATUS status = CAM_CONN_NONE;
  long frames = 0;
  long missed = 0;   ///< by the camera's rhythm: how many would have fitted into longer gaps
  int rings = 0;     ///< how often a ring was attached
  double rate = 0;   ///< frames a second
  double bytes = 0;  ///< a frame
  double delay = 0;  ///< ms from the recorder's writing to the reading here
  watchpost::PictureSize picture{};
};

class Watcher {
 public:
  /// Called with every frame, in the watcher's thread; false ends watching.
  using Sink = std::function<bool(const watchpost::LiveFrame& frame)>;

  Watcher(int camera_id, Sink sink);
  /// Leaves the process when the thread hangs, which it does when a recorder was killed while it
  /// wrote a frame.
  ~Watcher();
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  [[nodiscard]] WatchReport Report();
  [[nodiscard]] bool HasEnded();

 private:
  using Clock = std::chrono::steady_clock;
  struct Seen {
    Clock::time_point when;
    int bytes;
    double delay;
  };

  void Run();
  void Count(const watchpost::LiveFrame& frame);

  const int camera_id_;
  const Sink sink_;
  std::mutex mutex_;  // guards all below
  bool stop_ = false;
  bool ended_ = false;
  std::condition_variable end_;
  WatchReport report_;
  std::deque<Seen> recent_;
  double rhythm_ = 0;        // seconds between frames
  double last_written_ = 0;  // by the recorder's clock
  std::thread thread_;
};

}  // namespace wpctl
