// The progress of a long operation: a line that moves on the terminal, and a number for other
// processes.
#pragma once

#include <watchpost/ipc/progressindicator.h>

#include <chrono>
#include <memory>
#include <string>

namespace wpctl {

/// Publishes whole percents through a ProgressIndicator whose identifier is this process's id. On a
/// terminal (standard error) shows a bar and a text; nowhere else.
class Progress {
 public:
  /// `has_end` says whether there is a share to show; without, the line is the text alone.
  explicit Progress(bool has_end);
  /// Takes the line away.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// `share` of the work is done, 0 to 1. Cheap: draws ten times a second at most.
  void Show(double share, const std::string& text);

  /// Whether there is somebody to see it.
  [[nodiscard]] bool IsShown() const { return shown_; }

 private:
  const bool shown_;
  std::unique_ptr<ProgressIndicator> indicator_;
  int percent_ = -1;
  std::size_t width_ = 0;  // of the line on the terminal
  std::chrono::steady_clock::time_point next_draw_;
};

}  // namespace wpctl
