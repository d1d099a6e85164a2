#include "recordreload.h"

#include <watchpost/database/health.h>

#include <utility>

namespace wpd {

using watchpost::MutexLock;

void RecordReload::Request() {
  {
    const MutexLock lock(mutex_);
    wanted_ = true;
  }
  worker_.Wake();
}

std::optional<CameraRecord> RecordReload::Take() {
  const MutexLock lock(mutex_);
  return std::exchange(read_, std::nullopt);
}

bool RecordReload::HasWork() {
  const MutexLock lock(mutex_);
  return wanted_;
}

// A record that is gone cannot be taken over: the daemon goes on with the one it has.
bool RecordReload::DoWork() {
  {
    const MutexLock lock(mutex_);
    wanted_ = false;  // a request from now on wants what is read after it
  }
  CameraRecord record;
  const bool loaded = LoadRecord(camera_id_, record);
  const bool answers = loaded || watchpost::DatabaseAnswers();
  const MutexLock lock(mutex_);
  if (loaded) read_ = std::move(record);
  wanted_ = wanted_ || !answers;
  return answers;
}

}  // namespace wpd
