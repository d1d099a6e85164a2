// Motion timeline of a recording, from the levels of its motion log.

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "base/diagnostics_internal.h"
#include "event/eventutils.h"
#include "event/recordingfile.h"
#include "motion/mdlog.h"

namespace {

constexpr char kLogSource[] = "event";

// Number of slots of `interval` seconds that a recording touches. Slots are aligned to the clock,
// so the first one and the last are usually partial.
std::int64_t CountSlots(std::int64_t start, std::int64_t duration, std::int64_t interval) {
  const std::int64_t into_slot = start % interval;
  std::int64_t slots = 0;
  if (into_slot > 0) {
    slots = 1;
    duration -= interval - into_slot;
  }
  if (duration > 0) slots += duration / interval + (duration % interval != 0 ? 1 : 0);
  return slots;
}

struct Levels {
  const unsigned char* values;
  std::int64_t count;
  int threshold;

  [[nodiscard]] bool AnyReaches(std::int64_t from, std::int64_t to) const {
    for (std::int64_t i = std::max<std::int64_t>(from, 0); i < std::min(to, count); ++i) {
      if (values[i] >= threshold) return true;
    }
    return false;
  }
};

}  // namespace

int GetMotionLevel(
    Event& event, std::string folder, int interval, unsigned char* flags, int maxSlots) noexcept {
  const std::int64_t start = event.GetStartTime();
  const std::int64_t duration = event.GetStopTime() - start;
  const std::int64_t frames = event.GetFrameCount();
  if (interval < 0 || maxSlots <= 0 || flags == nullptr || frames < 0) return -1;
  if (interval > 0 && (duration <= 0 || start < 0)) return -1;
  const std::int64_t slots = interval == 0 ? frames : CountSlots(start, duration, interval);
  if (slots > maxSlots) return -1;

  const std::unique_ptr<unsigned char[]> levels(
      new (std::nothrow) unsigned char[static_cast<std::size_t>(frames)]());
  if (levels == nullptr) {
    WP_LOG("Out of memory!\n");
    return -1;
  }
  int sensitivity = 0;
  const std::string path = watchpost::JoinRecordingPath(folder, event.GetPath());
  if (FetchMotionLevel(levels.get(), static_cast<int>(frames), path, sensitivity) < 0) return -1;
  const Levels log{levels.get(), frames, sensitivity > 0 ? 100 - sensitivity : 0};

  std::int64_t from = 0;
  std::int64_t to = interval == 0 ? 1 : (interval - start % interval) * frames / duration;
  const std::int64_t step = interval == 0 ? 1 : frames * interval / duration;
  for (std::int64_t slot = 0; slot < slots; ++slot) {
    if (log.AnyReaches(from, to)) flags[slot] = 1;
    from = to;
    to += step;
  }
  return static_cast<int>(slots);
}
