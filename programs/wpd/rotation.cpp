#include "rotation.h"

#include "log.h"

namespace wpd {
namespace {

int SizeLimit(const Camera& camera) {
  return camera.IsRotatedBySize() ? camera.GetCapacityLimit() : 0;
}

int DaysLimit(const Camera& camera) {
  return camera.IsRotatedByDate() ? camera.GetExpireDays() : 0;
}

}  // namespace

bool IsRotated(const Camera& camera) {
  return SizeLimit(camera) > 0 || DaysLimit(camera) > 0;
}

void Rotation::Start() {
  thread_.Start([this] { Run(); });
}

void Rotation::SetCamera(const Camera& camera) {
  {
    const std::lock_guard lock(mutex_);
    camera_ = camera;
    changed_ = true;
  }
  OnTick();
}

void Rotation::OnTick() {
  {
    const std::lock_guard lock(mutex_);
    if (!changed_ && !stop_) return;
  }
  wake_.notify_one();
  (void)client_.Terminate();  // always 0
}

bool Rotation::Stop(std::chrono::milliseconds limit) {
  constexpr std::chrono::milliseconds kSlice{10};
  const auto deadline = std::chrono::steady_clock::now() + limit;
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  OnTick();
  while (!thread_.Join(kSlice)) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    OnTick();
  }
  return true;
}

void Rotation::Run() {
  std::unique_lock lock(mutex_);
  while (!stop_) {
    changed_ = false;
    Camera camera = camera_;
    if (!IsRotated(camera)) {
      wake_.wait(lock, [this] { return stop_ || changed_; });
      continue;
    }
    lock.unlock();
    const int status = client_.DoRotate(&camera, SizeLimit(camera), DaysLimit(camera));
    lock.lock();
    if (status == WP_ROTATE_OK) continue;
    Log("camera %d: cannot wait for the hour of rotation; waiting for changed limits",
        camera.GetId());
    wake_.wait(lock, [this] { return stop_ || changed_; });
  }
}

}  // namespace wpd
