#include "disktrouble.h"

#include <algorithm>

#include "camerarecord.h"
#include "spacekeeper.h"

namespace wpd {
namespace {

constexpr std::chrono::seconds kShortestPause{1};
constexpr std::chrono::seconds kLongestPause{30};
constexpr std::chrono::seconds kSteady{10};

}  // namespace

DiskTrouble::DiskTrouble(const watchpost::DaemonSettings& settings,
                         const Camera& camera,
                         Mailer& mailer)
    : reserve_bytes_(settings.reserve_bytes),
      mailer_(mailer),
      trouble_(Title(camera) + ": recording again", kSteady),
      mail_(settings.mail_steady) {}

void DiskTrouble::ReportOnce(const Camera& camera, const std::string& what) {
  trouble_.Begin(Title(camera) + ": " + what);
}

void DiskTrouble::Report(const Camera& camera, const std::string& what) {
  reason_ = what;
  ReportOnce(camera, what);
  if (mail_.Begin()) mailer_.Post(WP_MAIL_RECORDING_FAILED, camera);
}

void DiskTrouble::Suspend(const Camera& camera, const std::string& reason) {
  Report(camera, "not recording: " + reason);
  pause_ = std::clamp(2 * pause_, kShortestPause, kLongestPause);
  until_ = Clock::now() + pause_;
}

bool DiskTrouble::End() {
  const bool ends = !reason_.empty();
  trouble_.End();
  (void)mail_.End();  // there is no mail for it
  pause_ = std::chrono::seconds(0);
  reason_.clear();
  return ends;
}

DiskTrouble::State DiskTrouble::Check(const Camera& camera, Clock::time_point now) {
  if (pause_ == std::chrono::seconds(0)) return State::kRecording;
  if (now < until_) return State::kPaused;
  const std::string folder = camera.GetStoragePath();
  if (FreeBytes(folder) >= WantedBytes(folder, reserve_bytes_)) return State::kOver;
  until_ = now + kShortestPause;
  return State::kPaused;
}

}  // namespace wpd
