// wpctl event: what was recorded.

#include <watchpost/camera/camera.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/event/eventutils.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "events.h"
#include "progress.h"
#include "report.h"
#include "timetext.h"

namespace wpctl {
namespace {

struct Filter {
  std::string camera;  // id or name; empty for all
  std::string cause;   // "", "continuous" or "motion"
  std::string from;
  std::string until;
  int offset = 0;
  int limit = 20;
  bool as_json = false;
};

// A filter as the queries take it.
struct Query {
  int camera_id = 0;
  int from = 0;
  int until = 0;
  EVENT_CAUSE cause = EVENT_CAUSE_ANY;
};

EVENT_CAUSE CauseOf(const std::string& name) {
  if (name == "continuous") return EVENT_CAUSE_CONTINUOUS;
  return name == "motion" ? EVENT_CAUSE_MOTION : EVENT_CAUSE_ANY;
}

nlohmann::ordered_json ToJson(const Event& event) {
  nlohmann::ordered_json json;
  json["id"] = event.GetID();
  json["camera"] = event.GetCameraID();
  json["start"] = event.GetStartTime();
  json["stop"] = event.GetStopTime();
  json["width"] = event.GetVideoWidth();
  json["height"] = event.GetVideoHeight();
  json["frames"] = event.GetFrameCount();
  json["bytes"] = event.GetSize();
  json["cause"] = CauseName(event.GetCause());
  json["archived"] = event.GetArchived();
  json["path"] = event.GetPath();
  return json;
}

void PrintTable(const std::list<Event>& events, const Filter& filter, int total) {
  std::map<int, std::string> names;
  for (const Camera& camera : CameraGetAll()) names[camera.GetId()] = camera.GetName();
  Table table({">ID", "CAMERA", "START", ">DURATION", ">FRAMES", ">MIB", "CAUSE", "FILE"});
  for (const Event& event : events) {
    const auto name = names.find(event.GetCameraID());
    std::array<char, 32> size{};
    (void)std::snprintf(size.data(), size.size(), "%.1f", event.GetSize() / 1048576.0);
    table.AddRow({std::to_string(event.GetID()),
                  name == names.end() ? std::to_string(event.GetCameraID()) : name->second,
                  LocalTime(event.GetStartTime()),
                  Duration(event.GetStopTime() - event.GetStartTime()),
                  std::to_string(event.GetFrameCount()),
                  size.data(),
                  CauseName(event.GetCause()),
                  event.GetPath()});
  }
  table.Print();
  const int shown = static_cast<int>(events.size());
  if (shown < total)
    std::printf("%d to %d of %d\n", filter.offset + 1, filter.offset + shown, total);
}

// Fills `query`; prints what is wrong and returns the status to exit with, kDone when all is right.
int Understand(const Filter& filter, Query& query) {
  const long now = time(nullptr);
  const auto parse = [now](const std::string& text, bool end, int& seconds) {
    const std::optional<long> moment = ParseTime(text, now, end);
    if (moment) seconds = static_cast<int>(std::clamp<long>(*moment, 1, INT32_MAX));
    return moment.has_value();
  };
  for (const bool end : {false, true}) {
    const std::string& text = end ? filter.until : filter.from;
    if (!text.empty() && !parse(text, end, end ? query.until : query.from))
      return WrongUsage("a time is " + std::string(kTimeHelp) + ", not \"" + text + "\"");
  }
  if (!filter.camera.empty()) {
    const std::optional<Camera> camera = FindCamera(filter.camera);
    if (!camera) return kFailed;
    query.camera_id = camera->GetId();
  } else if (!RequireDatabase()) {
    return kFailed;
  }
  query.cause = CauseOf(filter.cause);
  return kDone;
}

int CountOf(const Query& query) {
  return GetEventCount(query.camera_id, query.from, query.until, query.cause);
}

std::list<Event> EventsOf(const Query& query, int offset, int limit) {
  return GetEvents(offset, limit, query.camera_id, query.from, query.until, query.cause);
}

int List(const Filter& filter) {
  Query query;
  if (const int status = Understand(filter, query); status != kDone) return status;
  const std::list<Event> events = EventsOf(query, filter.offset, filter.limit);
  if (filter.as_json) {
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Event& event : events) all.push_back(ToJson(event));
    PrintJson(all);
    return kDone;
  }
  const int total = CountOf(query);
  if (events.empty()) {
    std::printf(total == 0 ? "No recordings.\n" : "No recordings on this page; there are %d.\n",
                total);
    return kDone;
  }
  PrintTable(events, filter, total);
  return kDone;
}

int Count(const Filter& filter) {
  Query query;
  if (const int status = Understand(filter, query); status != kDone) return status;
  std::printf("%d\n", CountOf(query));
  return kDone;
}

// Which minutes of the recording had motion, on the clock: a line an hour, '.' a minute that was
// recorded, '#' one with motion. Empty when it has no motion log.
std::vector<std::string> HourBars(Recording& recording) {
  constexpr int kMinute = 60;
  constexpr int kMostMinutes = 2 * 24 * 60;
  std::vector<unsigned char> flags(kMostMinutes);
  const int slots = GetMotionLevel(
      recording.event, recording.camera.GetStoragePath(), kMinute, flags.data(), kMostMinutes);
  std::vector<std::string> lines;
  std::string bar;
  long hour = -1;
  for (int i = 0; i < slots; ++i) {
    const time_t when = (recording.event.GetStartTime() / kMinute + i) * kMinute;
    tm local{};
    (void)localtime_r(&when, &local);
    const long this_hour = (when - local.tm_min * kMinute) / 3600;
    if (this_hour != hour) {
      hour = this_hour;
      std::array<char, 16> title{};
      (void)std::snprintf(title.data(), title.size(), "%02d:00 |", local.tm_hour);
      lines.push_back(title.data() + std::string(kMinute, ' ') + "|");
    }
    lines.back()[static_cast<std::size_t>(7 + local.tm_min)] =
        flags[static_cast<std::size_t>(i)] != 0 ? '#' : '.';
  }
  return lines;
}

int Show(int id, bool as_json) {
  std::optional<Recording> recording = FindRecording(id);
  if (!recording) return kFailed;
  Event& event = recording->event;
  const bool finished = IsEventComplete(recording->camera, event);
  std::error_code failure;
  const bool exists = std::filesystem::exists(recording->path, failure);
  const char* state = !exists ? "missing" : finished ? "finished" : "being recorded";
  if (as_json) {
    nlohmann::ordered_json json = ToJson(event);
    json["file"] = recording->path;
    json["state"] = state;
    PrintJson(json);
    return kDone;
  }
  const std::vector<std::pair<const char*, std::string>> lines{
      {"Id", std::to_string(event.GetID())},
      {"Camera", recording->camera.GetName()},
      {"Start", LocalTime(event.GetStartTime())},
      {"Stop", LocalTime(event.GetStopTime())},
      {"Pictures",
       std::to_string(event.GetFrameCount()) + " of " + std::to_string(event.GetVideoWidth()) +
           "x" + std::to_string(event.GetVideoHeight())},
      {"Bytes", std::to_string(event.GetSize())},
      {"Cause", CauseName(event.GetCause())},
      {"Archived", event.GetArchived() ? "yes: rotation leaves it" : "no"},
      {"File", recording->path + ", " + state},
  };
  for (const auto& [label, text] : lines) std::printf("%-10s %s\n", label, Printable(text).c_str());
  for (const std::string& bar : HourBars(*recording))
    std::printf("%-10s %s\n", "Motion", bar.c_str());
  return kDone;
}

int Delete(const std::vector<int>& ids, const Filter& filter, bool yes) {
  std::list<int> chosen(ids.begin(), ids.end());
  if (chosen.empty()) {
    Query query;
    if (filter.camera.empty() && filter.cause.empty() && filter.from.empty() &&
        filter.until.empty())
      return WrongUsage("name recordings, or choose them with --camera, --cause, --from, --until");
    if (const int status = Understand(filter, query); status != kDone) return status;
    const int count = CountOf(query);
    if (count == 0) {
      std::printf("No recordings.\n");
      return kDone;
    }
    if (!yes && !Confirm("Delete " + std::to_string(count) + " recordings for good?"))
      return Failed("nothing was deleted; --yes deletes without asking");
    for (const Event& event : EventsOf(query, 0, count)) chosen.push_back(event.GetID());
  }
  Progress progress(true);
  double done = 0;
  for (const int id : chosen) {
    std::optional<Recording> recording = FindRecording(id);
    if (!recording) return kFailed;
    if (!IsEventComplete(recording->camera, recording->event))
      return Failed("recording " + std::to_string(id) + " is still being recorded");
    if (DeleteEvent(id) != 0)
      return Failed("the database did not delete recording " + std::to_string(id));
    progress.Show(++done / static_cast<double>(chosen.size()), recording->event.GetPath());
  }
  std::printf("%zu recordings deleted.\n", chosen.size());
  return kDone;
}

int Archive(const std::vector<int>& ids, bool archived) {
  for (const int id : ids) {
    std::optional<Recording> recording = FindRecording(id);
    if (!recording) return kFailed;
    recording->event.SetArchive(archived);
    if (recording->event.Save() != 0) return Failed("the database did not take the change");
  }
  std::printf("%zu recordings %s.\n",
              ids.size(),
              archived ? "archived: rotation leaves them" : "are rotated again");
  return kDone;
}

void AddFilter(CLI::App& verb, Filter& filter) {
  verb.add_option("--camera", filter.camera, "Only those of this camera (id or name)");
  verb.add_option("--cause", filter.cause, "Only those made for this reason")
      ->check(CLI::IsMember({"continuous", "motion"}));
  verb.add_option("--from", filter.from, "Only those that begin at this time or later");
  verb.add_option("--until", filter.until, "Only those that end at this time or earlier");
}

void AddList(CLI::App& group, int& status) {
  CLI::App* list = group.add_subcommand("list", "Show recordings, newest first");
  const auto filter = std::make_shared<Filter>();
  AddFilter(*list, *filter);
  list->add_option("--offset", filter->offset, "How many to skip")
      ->check(CLI::Range(0, 2000000000))
      ->capture_default_str();
  list->add_option("--limit", filter->limit, "How many to show")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str();
  list->add_flag("--json", filter->as_json, "For scripts; times are seconds since the epoch");
  list->footer("A time is " + std::string(kTimeHelp) +
               ".\n\nExamples:\n  wpctl event list\n"
               "  wpctl event list --camera Porch --from \"yesterday 14:00\" --cause motion\n"
               "  wpctl event list --camera Porch --offset 20 --json");
  list->callback([&status, filter] { status = List(*filter); });

  CLI::App* count = group.add_subcommand("count", "Count recordings");
  AddFilter(*count, *filter);
  count->footer("Examples:\n  wpctl event count --camera Porch --from today");
  count->callback([&status, filter] { status = Count(*filter); });
}

void AddDelete(CLI::App& group, int& status) {
  CLI::App* verb = group.add_subcommand("delete", "Delete recordings, files and rows");
  const auto ids = std::make_shared<std::vector<int>>();
  const auto filter = std::make_shared<Filter>();
  const auto yes = std::make_shared<bool>(false);
  verb->add_option("ID", *ids, "Recordings; without any, those that the options choose");
  AddFilter(*verb, *filter);
  verb->add_flag("-y,--yes", *yes, "Do not ask");
  verb->footer(
      "Examples:\n  wpctl event delete 17 18\n"
      "  wpctl event delete --camera Porch --until \"30d ago\"");
  verb->callback([&status, ids, filter, yes] { status = Delete(*ids, *filter, *yes); });
}

}  // namespace

void AddEventCommands(CLI::App& app, int& status) {
  CLI::App* group = app.add_subcommand("event", "Recordings")->require_subcommand(1);
  AddList(*group, status);
  AddDelete(*group, status);
  AddPlayCommands(*group, status);
  AddTimelineCommand(*group, status);

  CLI::App* show = group->add_subcommand("show", "Show one recording, and when something moved");
  const auto id = std::make_shared<int>(0);
  const auto as_json = std::make_shared<bool>(false);
  show->add_option("ID", *id, "The recording")->required();
  show->add_flag("--json", *as_json, "For scripts");
  show->footer("Examples:\n  wpctl event show 17");
  show->callback([&status, id, as_json] { status = Show(*id, *as_json); });

  const auto ids = std::make_shared<std::vector<int>>();
  for (const bool archived : {true, false}) {
    CLI::App* verb =
        archived ? group->add_subcommand("archive", "Keep recordings from being rotated away")
                 : group->add_subcommand("unarchive", "Let recordings be rotated away again");
    verb->add_option("ID", *ids, "Recordings")->required();
    verb->footer(std::string("Examples:\n  wpctl event ") + (archived ? "archive" : "unarchive") +
                 " 17 18");
    verb->callback([&status, ids, archived] { status = Archive(*ids, archived); });
  }
}

}  // namespace wpctl
