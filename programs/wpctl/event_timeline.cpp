// wpctl event timeline: a day of a camera, minute by minute.

#include <watchpost/event/eventutils.h>
#include <watchpost/event/recordingfile.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "recordings.h"
#include "report.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

constexpr std::size_t kMinutesPerHour = 60;

struct Options {
  std::string camera;
  std::string day = "today";
  bool json = false;
};

// One character a minute: ' ' nothing, '.' recorded, '#' with motion.
class Minutes {
 public:
  Minutes(long from, long until)
      : from_(from / kMinute), marks_(static_cast<std::size_t>((until - from) / kMinute), ' ') {}

  void Mark(long minute, char mark) {
    if (minute < from_ || minute - from_ >= static_cast<long>(marks_.size())) return;
    char& at = marks_[static_cast<std::size_t>(minute - from_)];
    if (at != '#') at = mark;
  }

  void Add(const Event& event, const std::string& folder) {
    constexpr long kMostMinutes = 2 * kDay / kMinute;
    const long first = event.GetStartTime() / kMinute;
    const long last = std::min(event.GetStopTime() / kMinute, first + kMostMinutes - 1);
    for (long minute = first; minute <= last; ++minute) Mark(minute, '.');
    long minute = first;
    for (const bool motion : MotionMinutes(event, folder)) {
      if (motion) Mark(minute, '#');
      ++minute;
    }
  }

  [[nodiscard]] const std::string& Marks() const { return marks_; }

 private:
  long from_;
  std::string marks_;
};

// The day's minutes, from its first second to its last.
Minutes Read(const Camera& camera, long from, long until) {
  Minutes minutes(from, until + 1);
  // Queries choose recordings that lie in a span: a day more on both sides finds those over
  // midnight.
  const auto bound = [](long seconds) {
    return static_cast<int>(std::clamp<long>(seconds, 1, INT32_MAX));
  };
  for (const Event& event : GetEvents(0,
                                      INT32_MAX,
                                      camera.GetId(),
                                      bound(from - kDay),
                                      bound(until + kDay),
                                      EVENT_CAUSE_ANY)) {
    if (event.GetStopTime() >= from && event.GetStartTime() <= until &&
        watchpost::RecordingPath(camera, event))
      minutes.Add(event, camera.GetStoragePath());
  }
  return minutes;
}

int Timeline(const Options& options) {
  const long now = std::time(nullptr);
  const std::optional<long> from = ParseTime(options.day, now, false);
  const std::optional<long> until = ParseTime(options.day, now, true);
  if (!from || !until || *from == *until) {
    return WrongUsage("a day is today, yesterday or such as 2026-11-23, not \"" + options.day +
                      "\"");
  }
  const std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  const std::string marks = Read(*camera, *from, *until).Marks();
  if (options.json) {
    PrintJson({{"camera", camera->GetId()}, {"start", *from}, {"minutes", marks}});
    return kDone;
  }
  // A day has 23 or 25 hours where summer time begins or ends: hours are named by the clock.
  for (std::size_t at = 0; at < marks.size(); at += kMinutesPerHour) {
    const long when = *from + static_cast<long>(at) * kMinute;
    std::printf(
        "%s |%s|\n", FormatTime(when, "%H:00").c_str(), marks.substr(at, kMinutesPerHour).c_str());
  }
  std::printf("A column a minute: . recorded, # with motion.\n");
  return kDone;
}

}  // namespace

void AddEventTimeline(Group& event) {
  auto [verb, options] =
      event.Add("timeline", "Show a day of a camera, minute by minute", Timeline);
  AddCameraArgument(verb, options.camera);
  verb.Add("DAY", options.day, "today, yesterday or such as 2026-11-23").ShowDefault();
  AddJson(verb, options.json);
  AddExamples(verb, {"wpctl event timeline Porch", "wpctl event timeline Porch yesterday"});
}

}  // namespace wpctl
