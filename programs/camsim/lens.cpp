#include "lens.h"

#include <algorithm>

namespace camsim {
namespace {

constexpr int kMostSteps = 8;

}  // namespace

bool Lens::Move(std::string_view command) {
  const std::lock_guard lock(mutex_);
  Position to = position_;
  if (command == "left") {
    --to.pan;
  } else if (command == "right") {
    ++to.pan;
  } else if (command == "up") {
    --to.tilt;
  } else if (command == "down") {
    ++to.tilt;
  } else if (command == "in") {
    ++to.zoom;
  } else if (command == "out") {
    --to.zoom;
  } else if (command == "home") {
    to = {};
  } else {
    return false;
  }
  position_ = {std::clamp(to.pan, -kMostSteps, kMostSteps),
               std::clamp(to.tilt, -kMostSteps, kMostSteps),
               std::clamp(to.zoom, 0, kMostSteps)};
  return true;
}

Lens::Position Lens::Get() const {
  const std::lock_guard lock(mutex_);
  return position_;
}

}  // namespace camsim
