#include "statusfile.h"

#include <unistd.h>
#include <watchpost/base/paths.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "log.h"

namespace wpd {
namespace {

constexpr std::chrono::seconds kInterval{2};

}  // namespace

StatusFile::StatusFile(int camera_id)
    : path_(watchpost::DaemonStatusFile(camera_id)),
      since_(std::time(nullptr)),
      counted_at_(Clock::now()) {}

StatusFile::~StatusFile() {
  (void)unlink(path_.c_str());  // it may never have been there
}

void StatusFile::Update(const Activity& activity) {
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  const double seconds = std::chrono::duration<double>(now - counted_at_).count();
  const double rate = seconds > 0 ? static_cast<double>(activity.frames - counted_) / seconds : 0;
  next_ = now + kInterval;
  counted_at_ = now;
  counted_ = activity.frames;
  const Trouble trouble = LastTrouble();
  nlohmann::ordered_json status;
  status["since"] = since_;
  status["recording"] = !activity.file.empty();
  status["healthy"] = !activity.idle.trouble;
  status["not_recording_because"] = activity.idle.reason;
  status["fps"] = std::round(rate * 10) / 10;
  status["file"] = activity.file;
  status["level"] = activity.level;
  status["trouble"] = trouble.text;
  status["trouble_time"] = trouble.when;
  const std::string fresh = path_ + ".new";
  std::ofstream file(fresh, std::ios::trunc);
  file << status.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
  file.close();
  if (file) (void)std::rename(fresh.c_str(), path_.c_str());
}

}  // namespace wpd
