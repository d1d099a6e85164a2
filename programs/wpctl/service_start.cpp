// wpctl service start, stop, restart: the daemons of all cameras, or of some.

#include <watchpost/base/paths.h>
#include <watchpost/service/cameracontrol.h>
#include <watchpost/service/daemonstate.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "locks.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

constexpr std::size_t kAtOnce = 8;  // daemons that are started or stopped side by side

using Names = std::vector<std::string>;

struct StartOptions {
  Names cameras;
  bool died = false;
};

// Calls `act` for each camera, several side by side; the number of those for which it failed.
template <typename Act>
int ForEach(const std::vector<Camera>& cameras, Act act) {
  std::atomic<std::size_t> next{0};
  std::atomic<int> failures{0};
  const auto work = [&] {
    for (std::size_t i = next++; i < cameras.size(); i = next++) {
      if (!act(cameras[i])) ++failures;
    }
  };
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < std::min(kAtOnce, cameras.size()); ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
  return failures;
}

// Whoever holds the camera's lock is no daemon; one that just starts has not said so yet, and
// whoever looks holds it for a moment. Who it is, empty when nobody does.
std::string WaitForLock(int camera_id) {
  constexpr int kTries = 20;
  constexpr std::chrono::milliseconds kBetweenTries{50};
  std::string holder = StrangerWithLock(camera_id);
  for (int i = 0; i < kTries && !holder.empty(); ++i) {
    std::this_thread::sleep_for(kBetweenTries);
    holder = StrangerWithLock(camera_id);
  }
  return holder;
}

bool Start(const Camera& camera) {
  const std::string title = Printable(TitleOf(camera));
  if (watchpost::RunningDaemon(camera.GetId())) {
    std::printf("%s runs already\n", title.c_str());
    return true;
  }
  watchpost::DropStaleStatus(camera.GetId());
  if (const std::string holder = WaitForLock(camera.GetId()); !holder.empty()) {
    (void)Failed(title + " did not start: " + watchpost::DaemonLockFile(camera.GetId()) +
                 " is held by " + holder);
    return false;
  }
  if (CameraControl(camera.GetId()).Start() == 0) {
    std::printf("%s started\n", title.c_str());
    return true;
  }
  // Another controller may have been faster.
  if (watchpost::RunningDaemon(camera.GetId())) {
    std::printf("%s was started by somebody else\n", title.c_str());
    return true;
  }
  (void)Failed(title + " did not start; the system log says why");
  return false;
}

bool Stop(const Camera& camera) {
  const std::string title = Printable(TitleOf(camera));
  watchpost::DropStaleStatus(camera.GetId());
  if (!watchpost::RunningDaemon(camera.GetId())) {
    std::printf("%s does not run\n", title.c_str());
    return true;
  }
  if (CameraControl(camera.GetId()).Stop() == 0 && !watchpost::RunningDaemon(camera.GetId())) {
    std::printf("%s stopped\n", title.c_str());
    return true;
  }
  (void)Failed(title + " did not stop; the system log says why");
  return false;
}

bool Restart(const Camera& camera) {
  return Stop(camera) && Start(camera);
}

int StartAll(const StartOptions& options) {
  auto cameras = FindCameras(options.cameras);
  if (!cameras) return kFailed;
  if (options.died) {
    std::erase_if(*cameras,
                  [](const Camera& camera) { return !watchpost::HasDaemonDied(camera.GetId()); });
  } else if (cameras->empty()) {
    std::printf("There is no camera; \"wpctl camera add\" adds one.\n");
  }
  return ForEach(*cameras, Start) == 0 ? kDone : kFailed;
}

int StopAll(const Names& names) {
  const auto cameras = FindCameras(names);
  return cameras && ForEach(*cameras, Stop) == 0 ? kDone : kFailed;
}

int RestartAll(const Names& names) {
  const auto cameras = FindCameras(names);
  return cameras && ForEach(*cameras, Restart) == 0 ? kDone : kFailed;
}

}  // namespace

void AddServiceStart(Group& service) {
  auto [verb, options] = service.Add("start", "Start daemons that do not run", StartAll);
  AddCameraArguments(verb, options.cameras);
  verb.AddFlag("--died", options.died, "Only those that were running and have died");
  AddExamples(verb,
              {"wpctl service start",
               "wpctl service start Porch 3",
               "wpctl service start --died      # what a timer calls every minute"});
}

void AddServiceStop(Group& service) {
  auto [verb, cameras] =
      service.Add("stop", "Stop daemons; what they record is finished first", StopAll);
  AddCameraArguments(verb, cameras);
  AddExamples(verb, {"wpctl service stop", "wpctl service stop Porch"});
}

void AddServiceRestart(Group& service) {
  auto [verb, cameras] = service.Add("restart", "Stop daemons and start them again", RestartAll);
  AddCameraArguments(verb, cameras);
  AddExamples(verb, {"wpctl service restart", "wpctl service restart Porch"});
}

}  // namespace wpctl
