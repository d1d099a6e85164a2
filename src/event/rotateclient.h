// Starts a rotation run on every full hour. DoRotate belongs to one thread; Terminate is
// thread-safe.
#pragma once

#include <pthread.h>

#include "base/export.h"
#include "camera/camera.h"
#include "event/wprotate.h"

class WATCHPOST_API RotateClient {
 public:
  RotateClient() noexcept;

  /// Ends the loop; DoRotate must have returned by then.
  ~RotateClient();
  RotateClient(const RotateClient&) = delete;
  RotateClient& operator=(const RotateClient&) = delete;

  /// Rotates the camera's recordings on every full hour, with limits in MiB and days (0 for none),
  /// until Terminate. Returns WP_ROTATE_OK after that, when the run at hand has stopped;
  /// WP_ROTATE_ERR_NOTHING without a camera or with a negative limit; WP_ROTATE_ERR_RUNNING when
  /// the loop is going already; WP_ROTATE_ERR_THREAD when it cannot wait for the hour. The waiting
  /// thread may be cancelled.
  int DoRotate(Camera* camera, int sizeLimitMB, int daysLimit);

  /// Asks the loop to end, and does not wait for that. A call before the loop has begun is lost.
  /// Returns 0.
  int Terminate() noexcept;

  /// Whether this is the hour `slot`, which then becomes the next one. Otherwise a line goes to the
  /// log. A step of DoRotate.
  bool IsCorrectMoment(int& slot) noexcept;

 private:
  bool Enter() noexcept;
  int WaitForHour();

  pthread_mutex_t mutex_;
  pthread_cond_t wake_;
  bool running_ = false;  // under mutex_
  int slot_ = -1;         // the hour, since the epoch, at which the next run is due
};
