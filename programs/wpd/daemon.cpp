#include "daemon.h"

#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>

#include "camerastream.h"
#include "filesync.h"
#include "livering.h"
#include "log.h"
#include "mailer.h"
#include "recorder.h"
#include "recovery.h"
#include "rotation.h"
#include "rowwriter.h"
#include "spacekeeper.h"
#include "statusfile.h"

namespace wpd {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestReport{45000};
constexpr milliseconds kReportSlice{250};
// Together below the 5 seconds in which a daemon has to stop.
constexpr milliseconds kFetchEnds{1500};
constexpr milliseconds kFrameEnds{1000};
constexpr milliseconds kSyncEnds{500};
constexpr milliseconds kRotationEnds{300};
constexpr milliseconds kMailsEnd{200};
constexpr milliseconds kRowsEnd{1000};

sigset_t WaitedSignals() {
  sigset_t set;
  (void)sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) (void)sigaddset(&set, number);
  return set;
}

// The next signal; 0 when none comes within `limit`.
int NextSignal(timespec limit) {
  const sigset_t set = WaitedSignals();
  const int number = sigtimedwait(&set, nullptr, &limit);
  return number > 0 ? number : 0;
}

class Daemon {
 public:
  Daemon(const Settings& settings, const CameraRecord& record)
      : record_(record),
        camera_(record.camera),
        rows_(camera_.GetId()),
        sync_(settings.sync_interval),
        space_(settings, camera_, mailer_),
        rotation_(camera_),
        recorder_(settings,
                  record,
                  sync_,
                  space_,
                  mailer_,
                  [this](const RecordingRow& row) { rows_.Put(row); }),
        ring_(camera_.GetId(), settings.ring_size),
        stream_(settings, camera_, ring_, recorder_, mailer_) {}

  int Run(Readiness& readiness) {
    rows_.Report(DAEMON_STATUS_STARTING);
    rows_.Start();
    FinishLeftovers(record_, rows_);
    sync_.Start();
    ring_.Create();
    if (!stream_.Start()) {
      const std::string why = std::string("cannot watch the camera: ") + strerror(errno);
      Log("%s", why.c_str());
      readiness.Fail(why);
      ring_.Remove();
      (void)sync_.Stop(kSyncEnds);  // it has nothing to sync
      rows_.Report(DAEMON_STATUS_STOPPED);
      (void)rows_.Flush(kRowsEnd);
      return 1;
    }
    mailer_.Start();
    space_.Start();
    rotation_.Start();
    rows_.Report(DAEMON_STATUS_RUNNING);
    int status = 0;
    if (readiness.HasLauncher() && !IsReported()) {
      readiness.Fail("stopped before the database had taken the daemon's status");
      status = 1;
    } else {
      readiness.Succeed();
      Serve();
    }
    Stop(status);
    return status;
  }

 private:
  // Whether the database took the status, before it took too long or a signal asked the daemon to
  // stop.
  bool IsReported() {
    const auto deadline = std::chrono::steady_clock::now() + kLongestReport;
    while (!rows_.Flush(kReportSlice)) {
      const int number = NextSignal({0, 0});
      if (number == SIGINT || number == SIGTERM || std::chrono::steady_clock::now() > deadline)
        return false;
    }
    return true;
  }

  void Serve() {
    Log("camera %d (%s): daemon runs", camera_.GetId(), camera_.GetName().c_str());
    StatusFile status_file(camera_.GetId());
    for (;;) {
      const int number = NextSignal({1, 0});
      if (number == SIGINT || number == SIGTERM) return;
      if (number == SIGHUP) rows_.Reload();
      if (const std::optional<CameraRecord> changed = rows_.TakeReloaded()) {
        recorder_.SetRecord(*changed);
        stream_.SetCamera(changed->camera);
        space_.SetCamera(changed->camera);
        rotation_.SetCamera(changed->camera);
      }
      rotation_.OnTick();
      if (const std::optional<Activity> activity = recorder_.Look()) status_file.Update(*activity);
      recorder_.OnTick();
    }
  }

  void Stop(int status) {
    rows_.Report(DAEMON_STATUS_STOPPING);
    const bool fetch_ended = stream_.Stop(kFetchEnds);
    ring_.Remove();
    const bool recording_ended = recorder_.Close(kFrameEnds);
    const bool synced = sync_.Stop(kSyncEnds);
    const bool rotated = rotation_.Stop(kRotationEnds);
    const bool kept_free = space_.Stop(kRotationEnds);
    const bool mailed = mailer_.Stop(kMailsEnd);
    rows_.Report(DAEMON_STATUS_STOPPED);
    const bool rows_written = rows_.Flush(kRowsEnd);
    if (!rows_written) {
      rows_.KeepRows();
      Log("camera %d: the database did not take all rows; the next start writes them",
          camera_.GetId());
    }
    Log("camera %d (%s): daemon ends", camera_.GetId(), camera_.GetName().c_str());
    // A thread that still hangs somewhere must not be waited for, nor find its objects gone.
    if (!fetch_ended || !recording_ended || !synced || !rotated || !kept_free || !mailed ||
        !rows_written)
      _exit(status);
  }

  const CameraRecord record_;
  const Camera camera_;
  RowWriter rows_;
  FileSync sync_;
  Mailer mailer_;
  SpaceKeeper space_;
  Rotation rotation_;
  Recorder recorder_;
  LiveRing ring_;
  CameraStream stream_;
};

}  // namespace

void BlockSignals() {
  const sigset_t set = WaitedSignals();
  (void)pthread_sigmask(SIG_BLOCK, &set, nullptr);  // cannot fail with these arguments
  (void)signal(SIGPIPE, SIG_IGN);
  (void)signal(SIGXFSZ, SIG_IGN);  // a limit on file sizes is a failed write, not the end
}

int RunDaemon(const Settings& settings, const CameraRecord& record, Readiness& readiness) {
  return Daemon(settings, record).Run(readiness);
}

}  // namespace wpd
