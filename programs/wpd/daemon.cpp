#include "daemon.h"

#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "camerastream.h"
#include "databaseworker.h"
#include "filesync.h"
#include "folderwatch.h"
#include "livering.h"
#include "log.h"
#include "mailer.h"
#include "recorder.h"
#include "recordreload.h"
#include "rotation.h"
#include "rowwriter.h"
#include "spacekeeper.h"
#include "statusfile.h"
#include "statusreports.h"

namespace wpd {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestReport{45000};
constexpr milliseconds kReportSlice{250};
// Together below the 5 seconds in which a daemon has to stop.
constexpr milliseconds kFetchEnds{1200};
constexpr milliseconds kFrameEnds{800};
constexpr milliseconds kFolderEnds{300};
constexpr milliseconds kSyncEnds{500};
constexpr milliseconds kRotationEnds{300};
constexpr milliseconds kMailsEnd{200};
constexpr milliseconds kRowsEnd{800};
constexpr milliseconds kDatabaseEnds{400};

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
  Daemon(const watchpost::DaemonSettings& settings, const CameraRecord& record)
      : id_(record.camera.GetId()),
        name_(record.camera.GetName()),
        record_(record),
        sync_(settings.sync_interval),
        space_(settings, record_, mailer_),
        rotation_(record_),
        recorder_(settings, {record_, sync_, space_, mailer_, rows_, folder_}),
        ring_(id_, settings.ring_size),
        stream_(settings, record_, ring_, recorder_, mailer_) {
    for (DatabaseTask* task : {static_cast<DatabaseTask*>(&reports_),
                               static_cast<DatabaseTask*>(&reload_),
                               static_cast<DatabaseTask*>(&rows_)})
      database_.Add(*task);
  }

  int Run(Readiness& readiness) {
    reports_.Report(DAEMON_STATUS_STARTING);
    database_.Start();
    folder_.Start();
    sync_.Start();
    ring_.Create();
    if (!stream_.Start()) return GiveUp(readiness);
    mailer_.Start();
    space_.Start();
    rotation_.Start();
    reports_.Report(DAEMON_STATUS_RUNNING);
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
  // Without a thread for the camera.
  int GiveUp(Readiness& readiness) {
    const std::string why = std::string("cannot watch the camera: ") + strerror(errno);
    Log("%s", why.c_str());
    readiness.Fail(why);
    Stop(1);
    return 1;
  }

  // Whether the database took the status, before it took too long or a signal asked the daemon to
  // stop.
  bool IsReported() {
    const auto deadline = std::chrono::steady_clock::now() + kLongestReport;
    while (!database_.Flush(kReportSlice)) {
      const int number = NextSignal({0, 0});
      if (number == SIGINT || number == SIGTERM || std::chrono::steady_clock::now() > deadline)
        return false;
    }
    return true;
  }

  void Serve() {
    Log("camera %d (%s): daemon runs", id_, name_.c_str());
    StatusFile status_file(id_);
    for (;;) {
      const int number = NextSignal({1, 0});
      if (number == SIGINT || number == SIGTERM) return;
      if (number == SIGHUP) reload_.Request();
      if (std::optional<CameraRecord> changed = reload_.Take()) TakeOver(std::move(*changed));
      rotation_.OnTick(folder_.IsReady());
      if (const std::optional<Activity> activity = recorder_.Snapshot())
        status_file.Update(*activity);
      recorder_.OnTick();
    }
  }

  void TakeOver(CameraRecord changed) {
    const auto before = record_.Get();
    record_.Set(std::move(changed));
    if (!SameSource(before->camera, record_.Get()->camera)) stream_.Reconnect();
    rotation_.OnRecordChanged();
  }

  void Stop(int status) {
    reports_.Report(DAEMON_STATUS_STOPPING);
    const bool fetch_ended = stream_.Stop(kFetchEnds);
    ring_.Remove();
    const bool recording_ended = recorder_.Close(kFrameEnds);
    const bool watched = folder_.Stop(kFolderEnds);
    const bool synced = sync_.Stop(kSyncEnds);
    const bool rotated = rotation_.Stop(kRotationEnds);
    const bool kept_free = space_.Stop(kRotationEnds);
    const bool mailed = mailer_.Stop(kMailsEnd);
    reports_.Report(DAEMON_STATUS_STOPPED);
    const bool rows_written = database_.Flush(kRowsEnd) && database_.Stop(kDatabaseEnds);
    if (!rows_written) {
      rows_.Keep();
      Log("camera %d: the database did not take all rows; the next start writes them", id_);
    }
    Log("camera %d (%s): daemon ends", id_, name_.c_str());
    // A thread that still hangs somewhere must not be waited for, nor find its objects gone.
    if (!fetch_ended || !recording_ended || !synced || !watched || !rotated || !kept_free ||
        !mailed || !rows_written)
      _exit(status);
  }

  const int id_;
  const std::string name_;
  SharedRecord record_;
  DatabaseWorker database_{id_};
  StatusReports reports_{id_, database_};
  RecordReload reload_{id_, database_};
  RowWriter rows_{id_, record_.Get()->camera.GetStoragePath(), database_};
  FolderWatch folder_{record_, rows_};
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

int RunDaemon(const watchpost::DaemonSettings& settings,
              const CameraRecord& record,
              Readiness& readiness) {
  return Daemon(settings, record).Run(readiness);
}

}  // namespace wpd
