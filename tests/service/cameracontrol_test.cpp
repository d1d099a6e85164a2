#include "service/cameracontrol.h"

#include <sys/wait.h>

#include "camera/camera.h"
#include "service/servicecontrol.h"
#include "support/process.h"
#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

// Daemons are played by shell scripts, and their rows by statements.
class Control : public TestDatabase {
 protected:
  void Daemon(const std::string& script) {
    const std::string path = root_ / "it's here/usr/orva/sbin/wpd";
    WriteFile(path, "#!/bin/sh\n" + script + "\n");
    fs::permissions(path, fs::perms::owner_all);
  }
  static void Row(int id, int status, int pid) {
    const std::string camera = std::to_string(id);
    Run("DELETE FROM camerastatus WHERE cameraid=" + camera);
    Run("INSERT INTO camerastatus VALUES (" + camera + "," + std::to_string(status) + "," +
        std::to_string(pid) + ",77)");
  }
  static int DeadPid() {
    const pid_t child = fork();
    if (child == 0) _exit(0);
    (void)waitpid(child, nullptr, 0);
    return child;
  }

  TempDir root_;
  ScopedEnv env_{"ORVA_ROOT", root_ / "it's here"};
};

TEST_F(Control, KnowsTheStateFromRowAndProcess) {
  CameraControl control(3);
  CameraStatus status{1, 2, 3, 4};
  EXPECT_EQ(control.Status(), DAEMON_STATUS_UNKNOWN);
  EXPECT_EQ(control.GetReportedStatus(&status), -1);
  EXPECT_EQ(status.pid, 2);
  EXPECT_EQ(control.GetDaemonPid(), -1);
  Row(3, 2, getpid());
  EXPECT_EQ(control.Status(), DAEMON_STATUS_RUNNING);
  EXPECT_EQ(control.GetReportedStatus(&status), 0);
  EXPECT_EQ(status.update_time, 77);
  EXPECT_EQ(control.WaitStatus(DAEMON_STATUS_RUNNING, 0), 0);
  EXPECT_EQ(control.WaitStatus(DAEMON_STATUS_STOPPED, 1), -1) << "asks once, and does not sleep";
  Row(3, 2, DeadPid());
  EXPECT_EQ(control.Status(), DAEMON_STATUS_STOPPED);
  Row(3, 3, DeadPid());
  EXPECT_EQ(control.Status(), DAEMON_STATUS_STOPPING);
  const Outage outage;
  EXPECT_EQ(control.Status(), DAEMON_STATUS_UNKNOWN);
  EXPECT_FALSE(CameraControl(0).IsValid());
}

TEST_F(Control, WaitsItsTimeWhateverSignalsCome) {
  (void)signal(SIGUSR1, [](int) {});
  const pthread_t waiting = pthread_self();
  std::jthread caller([waiting](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      (void)pthread_kill(waiting, SIGUSR1);
      PauseBriefly();
    }
  });
  const Clock::time_point begin = Clock::now();
  EXPECT_EQ(CameraControl(3).WaitStatus(DAEMON_STATUS_RUNNING, 3), -1);
  EXPECT_GE(Clock::now() - begin, milliseconds(1900));
}

TEST_F(Control, StartsThroughTheShellAndStops) {
  CameraControl control(3);
  SyslogCapture log;
  EXPECT_EQ(control.Stop(), 0);
  log.Expect("services:");
  log.Expect(":Stop(): Daemon is not running.");
  Daemon("exit 1");
  EXPECT_EQ(control.Start(), -1);
  log.Expect(":ForkDaemon(): daemon returned abnormal status [1]");
  log.Expect(":Start(): Failed to fork daemon.");

  // A daemon whose row is written meanwhile; at SIGINT it dies without a word.
  Daemon("echo \"$@\" >" + (root_ / "arguments"));
  Process daemon("sleep 60");
  Row(3, 1, daemon.Pid());
  std::thread reporter([&] {
    std::this_thread::sleep_for(milliseconds(300));
    Row(3, 2, daemon.Pid());
  });
  EXPECT_EQ(control.Start(), 0);
  reporter.join();
  EXPECT_EQ(ReadFile(root_ / "arguments"), "-c 3\n");
  EXPECT_EQ(control.Start(), -1);
  log.Expect(":Start(): Process for this daemon is not stopped");
  std::thread reaper([&] { (void)daemon.Wait(); });
  EXPECT_EQ(control.Stop(), 0);
  reaper.join();
  EXPECT_EQ(control.Status(), DAEMON_STATUS_STOPPED);
  for (const int pid : {0, 1}) {
    Row(3, 2, pid);
    EXPECT_EQ(control.Stop(), -1) << "not everybody's process " << pid;
  }
}

TEST_F(Control, SumsUpAllCameras) {
  ServiceControl service;
  EXPECT_EQ(service.Status(), WP_SERVICE_STOPPED);
  EXPECT_EQ(service.ControlCameras(static_cast<WP_SERVICE_CMD>(9)), 0) << "no camera to notice it";
  EXPECT_EQ(service.Action(static_cast<WP_SERVICE_CMD>(9)), 1);
  for (const char* name : {"1", "2", "3"}) {
    Camera camera;
    camera.SetName(name);
    ASSERT_EQ(camera.Save(false), 0);
  }
  // The three cameras' states, and the service's.
  for (const std::array<int, 4>& states : {std::array<int, 4>{2, 2, 2, 2},
                                           {2, 4, 2, 3},
                                           {4, 4, 4, 5},
                                           {3, 2, 4, 4},
                                           {1, 3, 2, 1},
                                           {0, 1, 3, 0},
                                           {2, 7, 2, 2}}) {
    for (std::size_t i = 0; i < 3; ++i) Row(static_cast<int>(i) + 1, states[i], getpid());
    EXPECT_EQ(service.Status(), states[3]) << ::testing::PrintToString(states);
  }
  const SyslogCapture log;
  EXPECT_EQ(service.ControlCameras(WP_SERVICE_RESTART), -1);
  log.Expect(":ControlCameras(): Unknown command [3]");
  Daemon("exit 3");
  Row(2, 4, getpid());
  EXPECT_EQ(service.Action(WP_SERVICE_START), 0) << "single failures change nothing";
  log.Expect(":ControlCameras(): Failed to start camera [2]");
}

}  // namespace
