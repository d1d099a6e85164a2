#include "liveframe.h"

#include <watchpost/ipc/ringbuffer.h>
#include <watchpost/media/jpegsize.h>
#include <watchpost/motion/motionsequence.h>
#include <watchpost/service/daemonstate.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "cameras.h"
#include "report.h"

namespace wpctl {

std::vector<unsigned char> LatestFrame(int camera_id) {
  constexpr long kOldest = 10;  // seconds
  std::vector<unsigned char> frame;
  if (!watchpost::RunningDaemon(camera_id)) return frame;
  RingBuffer* ring = RingBufferGet(camera_id);
  if (ring == nullptr) return frame;
  CAM_CONN_STATUS status = CAM_CONN_NONE;
  (void)ring->ConnStatusGet(&status);  // not null
  DataUnit* unit = status == CAM_CONN_CONNECTED ? ring->ReadLatest() : nullptr;
  if (unit != nullptr) {
    if (std::labs(time(nullptr) - unit->GetTimestamp().tv_sec) <= kOldest)
      frame.assign(unit->Payload(), unit->Payload() + unit->Size());
    (void)ring->ReadFinish(unit);  // not null
  }
  (void)RingBufferRelease(ring);  // attached above
  return frame;
}

bool ExceedsWatchedPart(int width, int height) {
  return std::max(width, height) > watchpost::MotionSequence::kWatchedPixels;
}

bool ExceedsWatchedPart(const Camera& camera) {
  if (ExceedsWatchedPart(camera.GetImageWidth(), camera.GetImageHeight())) return true;
  const std::vector<unsigned char> frame = LatestFrame(camera.GetId());
  const auto size = watchpost::ReadJpegSize(frame.data(), frame.size());
  return size && ExceedsWatchedPart(int{size->width}, int{size->height});
}

void SayClipped(const Camera& camera) {
  (void)Failed("camera " + TitleOf(camera) + ": " + watchpost::MotionSequence::kClippedText);
}

}  // namespace wpctl
