// Rotates camera 1 to a limit of 1 MiB by the hour until SIGTERM, and writes the library's log
// lines on standard error. Run with a clock of its own.
#include <event/rotateclient.h>
#include <signal.h>
#include <syslog.h>

#include <thread>

int main() {
  openlog("rotateclock", LOG_PERROR, LOG_USER);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  Camera camera;
  if (camera.Load(1) != 0) return 9;
  RotateClient client;
  int result = -1;
  std::thread loop([&] { result = client.DoRotate(&camera, 1, 0); });
  int signal = 0;
  sigwait(&signals, &signal);
  (void)client.Terminate();
  loop.join();
  return result;
}
