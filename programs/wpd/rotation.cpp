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

void Rotation::OnRecordChanged() {
  changed_ = true;
  thread_.Wake();
  EndWait();
}

void Rotation::OnTick(bool has_folder) {
  if (has_folder_.exchange(has_folder) != has_folder) OnRecordChanged();
  EndWait();
}

void Rotation::EndWait() {
  if (changed_ || thread_.IsStopping()) (void)client_.Terminate();  // always 0
}

bool Rotation::Stop(std::chrono::milliseconds limit) {
  constexpr std::chrono::milliseconds kSlice{10};
  const auto deadline = WorkerThread::Clock::now() + limit;
  while (!thread_.Stop(kSlice)) {
    if (WorkerThread::Clock::now() > deadline) return false;
    EndWait();
  }
  return true;
}

std::optional<WorkerThread::Clock::duration> Rotation::DoWork() {
  changed_ = false;
  Camera camera = record_.Get()->camera;
  if (!IsRotated(camera) || !has_folder_) return std::nullopt;
  if (client_.DoRotate(&camera, SizeLimit(camera), DaysLimit(camera)) == WP_ROTATE_OK)
    return WorkerThread::Clock::duration::zero();
  Log("camera %d: cannot wait for the hour of rotation; waiting for changed limits",
      camera.GetId());
  return std::nullopt;
}

}  // namespace wpd
