// Removes a camera's oldest recordings while they exceed its limits. Thread-safe.
//
// A run has a thread of its own and works in batches: the files of up to 1000 recordings, then
// their rows. Archived recordings, and one that is still being written, are never removed.
#pragma once

#include <pthread.h>

#include <string>

#include "base/export.h"
#include "camera/camera.h"
#include "event/wpmutex.h"

enum WP_ROTATE_STATUS : int {
  WP_ROTATE_OK = 0,
  WP_ROTATE_ERR_THREAD = 1,   ///< the thread could not be made, or the wait for the hour failed
  WP_ROTATE_ERR_NOTHING = 2,  ///< no camera, or no limit
  WP_ROTATE_ERR_RUNNING = 3,  ///< a run, or a client's loop, is going already
  WP_ROTATE_NOT_RUNNING = 4,  ///< there was no run to stop
};

class WATCHPOST_API WPRotate {
 public:
  /// `camera` stays the caller's and outlives the object; null makes every Start fail.
  explicit WPRotate(Camera* camera) noexcept;

  /// Stops a run.
  ~WPRotate();
  WPRotate(const WPRotate&) = delete;
  WPRotate& operator=(const WPRotate&) = delete;

  /// Begins a run with limits in MiB and days; one that is not above 0 does not count. Returns
  /// WP_ROTATE_OK, _ERR_NOTHING, _ERR_RUNNING or _ERR_THREAD. Does not wait for the run, but for
  /// the thread of an earlier one that has come to its end.
  int Start(int sizeLimitMB, int daysLimit) noexcept;

  /// Ends a run after the batch at hand and waits for that. Returns WP_ROTATE_OK or
  /// WP_ROTATE_NOT_RUNNING.
  int Stop() noexcept;

  /// Whether a run is wanted or going.
  bool IsRotateStarted() noexcept;
  void SetRotateStatus(bool started) noexcept;

  /// The steps of a run, as Start, Stop and the thread use them.
  bool StartDoRotate() noexcept;
  bool WaitDoRotate() noexcept;
  bool CheckBreakPoint() noexcept;
  static void* Runner(void* rotate) noexcept;
  void DoRotate() noexcept;

  /// Size of all of the camera's recordings by their rows, in MiB; 0 also when the database cannot
  /// be read.
  double GetTotalSizeOfFilesByDB() noexcept;

  /// Removes the oldest recordings until `excessMB` MiB are gone, or all recordings older than
  /// `days` days; sends the owner a mail. Returns 0; -1 for an argument that is not above 0, or
  /// when a stop was asked for.
  int RemoveFilesFromDBBySize(double excessMB) noexcept;
  int RemoveFilesFromDBByDate(int days) noexcept;

  /// One batch: removes up to `upperbound` of the oldest recordings until `sizeMB` MiB are gone,
  /// and counts them. Returns the MiB removed; 1 when the camera has no folder, which a line in the
  /// log says.
  double RemoveFileBySizeWithUpperbound(double sizeMB, int upperbound, int& removedCount) noexcept;

  /// One batch of the recordings that had ended by `cutoff` (seconds since the epoch). Returns 1
  /// when there may be more, and when the camera has no folder; else 0.
  int RemoveFileByDateWithUpperbound(long cutoff, int upperbound, int& removedCount) noexcept;

 private:
  bool StorageFolder(std::string& folder) noexcept;
  void SendMailOnce() noexcept;
  void PauseWhenStalled() noexcept;

  WPMutex status_mutex_;   // guards started_
  WPMutex control_mutex_;  // one Start or Stop at a time; the thread never waits for it
  Camera* camera_;
  pthread_t thread_{};
  bool started_ = false;
  bool mail_sent_ = false;  // in this run
  int camera_id_;
  int days_limit_ = 0;
  int size_limit_ = 0;
  bool has_thread_ = false;  // thread_ is one to join; under control_mutex_
  bool stalled_ = false;     // the last batch left everything as it was
};
