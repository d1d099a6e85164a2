// wpctl event timeline: a day of a camera, minute by minute.

#include <watchpost/event/eventutils.h>
#include <watchpost/event/recordingfile.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "events.h"
#include "report.h"
#include "timetext.h"

namespace wpctl {
namespace {

constexpr long kMinute = 60;
constexpr long kDay = 86400;
constexpr int kMostSlots = 2 * 24 * 60;

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

  void Add(Event event, const std::string& folder) {
    const long first = event.GetStartTime() / kMinute;
    for (long minute = first;
         minute <= event.GetStopTime() / kMinute && minute < first + kMostSlots;
         ++minute)
      Mark(minute, '.');
    std::vector<unsigned char> flags(kMostSlots);
    const int slots = GetMotionLevel(event, folder, kMinute, flags.data(), kMostSlots);
    for (int i = 0; i < slots; ++i) {
      if (flags[static_cast<std::size_t>(i)] != 0) Mark(first + i, '#');
    }
  }

  [[nodiscard]] const std::string& Marks() const { return marks_; }

 private:
  long from_;
  std::string marks_;
};

int Timeline(const std::string& which, const std::string& day, bool as_json) {
  const long now = time(nullptr);
  const std::optional<long> from = ParseTime(day, now, false);
  const std::optional<long> until = ParseTime(day, now, true);
  if (!from || !until || *from == *until)
    return WrongUsage("a day is today, yesterday or such as 2026-11-23, not \"" + day + "\"");
  const std::optional<Camera> camera = FindCamera(which);
  if (!camera) return kFailed;
  Minutes minutes(*from, *until + 1);
  // The query wants recordings that lie in the span: a day more on both sides finds those over
  // midnight.
  const int first = static_cast<int>(std::clamp(*from - kDay, 1L, long{INT32_MAX}));
  const int last = static_cast<int>(std::clamp(*until + kDay, 1L, long{INT32_MAX}));
  const int count = GetEventCount(camera->GetId(), first, last, EVENT_CAUSE_ANY);
  for (const Event& event : GetEvents(0, count, camera->GetId(), first, last, EVENT_CAUSE_ANY)) {
    if (event.GetStopTime() >= *from && event.GetStartTime() <= *until && watchpost::RecordingPath(*camera, event))
      minutes.Add(event, camera->GetStoragePath());
  }
  if (as_json) {
    PrintJson({{"camera", camera->GetId()}, {"from", *from}, {"minutes", minutes.Marks()}});
    return kDone;
  }
  // A day has 23 or 25 hours where summer time begins or ends: hours are named by the clock.
  constexpr std::size_t kHour = 60;
  for (std::size_t at = 0; at < minutes.Marks().size(); at += kHour) {
    const time_t when = *from + static_cast<long>(at) * kMinute;
    tm local{};
    (void)localtime_r(&when, &local);
    std::printf("%02d:00 |%s|\n", local.tm_hour, minutes.Marks().substr(at, kHour).c_str());
  }
  std::printf("A column a minute: . recorded, # with motion.\n");
  return kDone;
}

}  // namespace

void AddTimelineCommand(CLI::App& event_group, int& status) {
  CLI::App* verb =
      event_group.add_subcommand("timeline", "Show a day of a camera, minute by minute");
  const auto which = std::make_shared<std::string>();
  const auto day = std::make_shared<std::string>("today");
  const auto as_json = std::make_shared<bool>(false);
  verb->add_option("CAMERA", *which, "Id or name")->required();
  verb->add_option("DAY", *day, "today, yesterday or such as 2026-11-23")->capture_default_str();
  verb->add_flag("--json", *as_json, "For scripts");
  verb->footer("Examples:\n  wpctl event timeline Porch\n  wpctl event timeline Porch yesterday");
  verb->callback([&status, which, day, as_json] { status = Timeline(*which, *day, *as_json); });
}

}  // namespace wpctl
