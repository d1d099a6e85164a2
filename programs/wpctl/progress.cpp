#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "report.h"

namespace wpctl {
namespace {

constexpr std::chrono::milliseconds kBetweenDraws{100};
constexpr int kBarWidth = 20;

std::string Bar(double share) {
  const int full = static_cast<int>(share * kBarWidth);
  return "[" + std::string(static_cast<std::size_t>(full), '#') +
         std::string(static_cast<std::size_t>(kBarWidth - full), '.') + "] ";
}

}  // namespace

Progress::Progress(bool has_end) : shown_(isatty(STDERR_FILENO) != 0) {
  if (has_end) indicator_ = std::make_unique<ProgressIndicator>(getpid(), true);
}

Progress::~Progress() {
  if (width_ > 0) std::fprintf(stderr, "\r%*s\r", static_cast<int>(width_), "");
}

void Progress::Show(double share, const std::string& text) {
  share = std::clamp(share, 0.0, 1.0);
  const int percent = static_cast<int>(share * 100);
  if (indicator_ != nullptr && percent != percent_)
    (void)indicator_->Set(percent);  // what failed is in the log
  percent_ = percent;
  const auto now = std::chrono::steady_clock::now();
  if (!shown_ || now < next_draw_) return;
  next_draw_ = now + kBetweenDraws;
  std::string line = Printable(text);
  if (indicator_ != nullptr) line.insert(0, Bar(share) + std::to_string(percent) + " %  ");
  std::fprintf(stderr, "\r%-*s", static_cast<int>(width_), line.c_str());
  width_ = line.size();
}

}  // namespace wpctl
