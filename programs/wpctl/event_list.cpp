// wpctl event list, count

#include <watchpost/camera/camera.h>

#include <cstdio>
#include <list>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "commands.h"
#include "eventfilter.h"
#include "quantity.h"
#include "recordings.h"
#include "report.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

struct ListOptions {
  EventFilter filter;
  int offset = 0;
  int limit = 20;
  bool json = false;
};

void PrintTable(const std::list<Event>& events, int offset, int total) {
  std::map<int, std::string> names;
  for (const Camera& camera : CameraGetAll()) names[camera.GetId()] = camera.GetName();
  Table table({">Id", "Camera", "Start", ">Duration", ">Frames", ">MiB", "Cause", "File"});
  for (const Event& event : events) {
    const auto name = names.find(event.GetCameraID());
    table.AddRow({std::to_string(event.GetID()),
                  name == names.end() ? std::to_string(event.GetCameraID()) : name->second,
                  LocalTime(event.GetStartTime()),
                  Duration(event.GetStopTime() - event.GetStartTime()),
                  std::to_string(event.GetFrameCount()),
                  InMiB(event.GetSize()),
                  CauseName(event.GetCause()),
                  event.GetPath()});
  }
  table.Print();
  const int shown = static_cast<int>(events.size());
  if (shown < total) std::printf("%d to %d of %d\n", offset + 1, offset + shown, total);
}

int List(const ListOptions& options) {
  EventQuery query;
  if (const int status = Understand(options.filter, query); status != kDone) return status;
  const std::list<Event> events = EventsOf(query, options.offset, options.limit);
  if (options.json) {
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Event& event : events) all.push_back(ToJson(event));
    PrintJson(all);
    return kDone;
  }
  const int total = CountOf(query);
  if (!events.empty()) {
    PrintTable(events, options.offset, total);
  } else if (total == 0) {
    std::printf("No recordings.\n");
  } else {
    std::printf("No recordings on this page; there are %d.\n", total);
  }
  return kDone;
}

int Count(const EventFilter& filter) {
  EventQuery query;
  if (const int status = Understand(filter, query); status != kDone) return status;
  std::printf("%d\n", CountOf(query));
  return kDone;
}

}  // namespace

void AddEventList(Group& event) {
  auto [verb, options] = event.Add("list", "Show recordings, newest first", List);
  AddFilter(verb, options.filter);
  verb.Add("--offset", options.offset, "How many to skip").Between(0, 2000000000).ShowDefault();
  verb.Add("--limit", options.limit, "How many to show").Between(1, 1000000).ShowDefault();
  AddJson(verb, options.json, "For scripts; times are seconds since the epoch");
  AddExamples(verb,
              "A time is " + std::string(kTimeHelp) + ".",
              {"wpctl event list",
               "wpctl event list --camera Porch --from \"yesterday 14:00\" --cause motion",
               "wpctl event list --camera Porch --offset 20 --json"});
}

void AddEventCount(Group& event) {
  auto [verb, filter] = event.Add("count", "Count recordings", Count);
  AddFilter(verb, filter);
  AddExamples(verb, {"wpctl event count --camera Porch --from today"});
}

}  // namespace wpctl
