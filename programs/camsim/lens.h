// Where the simulated camera looks: what pan, tilt and zoom commands change. Thread-safe.
#pragma once

#include <mutex>
#include <string_view>

namespace camsim {

class Lens {
 public:
  struct Position {
    int pan = 0;   ///< steps to the right, each an eighth of the picture
    int tilt = 0;  ///< steps down
    int zoom = 0;  ///< steps in, each a quarter closer

    bool operator==(const Position&) const = default;
  };

  /// Follows "left", "right", "up", "down", "in", "out" or "home", up to eight steps to each side.
  /// False for anything else.
  bool Move(std::string_view command);

  [[nodiscard]] Position Get() const;

 private:
  mutable std::mutex mutex_;  // guards position_
  Position position_;
};

}  // namespace camsim
