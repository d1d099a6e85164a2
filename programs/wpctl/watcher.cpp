#include "watcher.h"

#include <sys/time.h>
#include <unistd.h>

#include <cmath>

#include "report.h"

namespace wpctl {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kPoll{200};
constexpr std::chrono::seconds kWindow{2};
constexpr std::chrono::seconds kLongestEnd{1};
constexpr int kFramesToLearn = 10;

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double Now() {
  timeval now{};
  (void)gettimeofday(&now, nullptr);  // cannot fail with these arguments
  return Seconds(now);
}

}  // namespace

Watcher::Watcher(int camera_id, Sink sink)
    : camera_id_(camera_id), sink_(std::move(sink)), thread_([this] { Run(); }) {}

Watcher::~Watcher() {
  std::unique_lock lock(mutex_);
  stop_ = true;
  if (!end_.wait_for(lock, kLongestEnd, [this] { return ended_; })) _exit(kFailed);
  lock.unlock();
  thread_.join();
}

void Watcher::Run() {
  watchpost::RingFollower follower(camera_id_);
  for (bool goes_on = true; goes_on;) {
    const auto frame = follower.Next(kPoll);
    {
      const std::lock_guard lock(mutex_);
      report_.status = follower.Status();
      report_.rings = follower.Attachments();
      if (frame) Count(*frame);
      goes_on = !stop_;
    }
    if (frame && goes_on) goes_on = sink_(*frame);
  }
  const std::lock_guard lock(mutex_);
  ended_ = true;
  end_.notify_all();
}

void Watcher::Count(const watchpost::LiveFrame& frame) {
  const double written = Seconds(frame.finished);
  const double gap = written - last_written_;
  if (report_.frames > kFramesToLearn && rhythm_ > 0 && gap > 1.5 * rhythm_)
    report_.missed += std::lround(gap / rhythm_) - 1;
  else if (report_.frames > 0 && gap > 0)
    rhythm_ = rhythm_ == 0 ? gap : 0.9 * rhythm_ + 0.1 * gap;
  last_written_ = written;
  ++report_.frames;
  const auto size = static_cast<std::size_t>(frame.size);
  report_.picture = watchpost::ReadJpegSize(frame.data, size).value_or(report_.picture);
  recent_.push_back({Clock::now(), frame.size, 1e3 * (Now() - written)});
}

WatchReport Watcher::Report() {
  const std::lock_guard lock(mutex_);
  const Clock::time_point now = Clock::now();
  while (!recent_.empty() && now - recent_.front().when > kWindow) recent_.pop_front();
  WatchReport report = report_;
  for (const Seen& seen : recent_) {
    report.bytes += seen.bytes;
    report.delay += seen.delay;
  }
  if (recent_.empty()) return report;
  const auto count = static_cast<double>(recent_.size());
  report.bytes /= count;
  report.delay /= count;
  const double span =
      std::chrono::duration<double>(recent_.back().when - recent_.front().when).count();
  if (span > 0) report.rate = (count - 1) / span;
  return report;
}

bool Watcher::HasEnded() {
  const std::lock_guard lock(mutex_);
  return ended_;
}

}  // namespace wpctl
