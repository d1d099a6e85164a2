// A camera that numbers its frames and remembers when it sent which.
#pragma once

#include <mutex>

#include "base/uniquefd.h"
#include "support/test.h"

namespace watchpost::test {

struct SentFrame {
  Clock::time_point when;
  time_t wall;
};

/// The numbers of the frames in a recording's bytes, finished or not, in the order of the file.
std::vector<std::size_t> FrameNumbers(const std::string& bytes);

class NumberedCamera {
 public:
  NumberedCamera();
  ~NumberedCamera();
  NumberedCamera(const NumberedCamera&) = delete;
  NumberedCamera& operator=(const NumberedCamera&) = delete;

  [[nodiscard]] std::string Url() const;

  /// Ends its connection and takes no other, or is there again.
  void SetAway(bool away) { away_ = away; }

  /// The frames sent so far, by their numbers.
  [[nodiscard]] std::vector<SentFrame> Sent() const;

  /// The picture that has this number.
  [[nodiscard]] std::string Frame(std::size_t number) const;

 private:
  void Serve();
  void Stream(int client);

  std::vector<std::string> pictures_;
  mutable std::mutex mutex_;
  std::vector<SentFrame> sent_;
  std::atomic<bool> away_ = false;
  std::atomic<bool> ended_ = false;
  int port_ = 0;
  UniqueFd listener_;
  std::thread thread_;
};

}  // namespace watchpost::test
