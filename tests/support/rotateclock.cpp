// Rotates camera 1 to a limit of 1 MiB by the hour until SIGTERM, and writes the library's log
// lines on standard error. Run with a clock of its own. time() lags behind the exact one here, as
// far as the kernel's tick makes it.
#include <event/rotateclient.h>
#include <signal.h>
#include <syslog.h>
#include <time.h>

#include <thread>

extern "C" __attribute__((visibility("default"))) time_t time(time_t* result) {
  timespec now{};
  (void)clock_gettime(CLOCK_REALTIME, &now);
  const time_t seconds = now.tv_sec - (now.tv_nsec < 300000000 ? 1 : 0);
  if (result != nullptr) *result = seconds;
  return seconds;
}

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
