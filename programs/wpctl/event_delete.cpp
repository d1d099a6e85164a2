// wpctl event delete

#include <watchpost/event/eventfiles.h>
#include <watchpost/event/eventstore.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "eventfilter.h"
#include "progress.h"
#include "recordings.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Options {
  std::vector<int> ids;
  EventFilter filter;
  bool yes = false;
  bool archived = false;
};

// The recordings that the filter chooses, once somebody agreed. Prints what is wrong and returns
// the status to exit with, kDone when all is right.
int Choose(const Options& options, std::vector<int>& ids) {
  const EventFilter& filter = options.filter;
  if (filter.camera.empty() && filter.cause.empty() && filter.from.empty() && filter.until.empty())
    return WrongUsage("name recordings, or choose them with --camera, --cause, --from, --until");
  EventQuery query;
  if (const int status = Understand(filter, query); status != kDone) return status;
  int archived = 0;
  for (const Event& event : EventsOf(query, 0, CountOf(query))) {
    if (event.GetArchived() && !options.archived)
      ++archived;
    else
      ids.push_back(event.GetID());
  }
  if (archived > 0)
    std::printf("%d archived recordings stay; --archived deletes them, too.\n", archived);
  if (!ids.empty() && !options.yes &&
      !Confirm("Delete " + std::to_string(ids.size()) + " recordings for good?"))
    return Failed("nothing was deleted; --yes deletes without asking");
  return kDone;
}

// Asks about archived ones among the recordings that were named.
bool MayDelete(const Options& options) {
  for (const int id : options.ids) {
    const std::string title = "recording " + std::to_string(id);
    if (options.archived || !Event(id).GetArchived()) continue;
    if (Confirm(title + " is archived. Delete it for good?")) continue;
    (void)Failed(title + " is archived: nothing was deleted; --archived deletes it without asking");
    return false;
  }
  return true;
}

// The file would go, and the other row stay.
bool IsDuplicate(const Recording& recording) {
  Event row;
  const watchpost::StoreResult result =
      watchpost::FindRowOfFile(recording.camera.GetStoragePath(), recording.event.GetPath(), row);
  if (result == watchpost::StoreResult::kDone) return false;
  (void)Failed(result == watchpost::StoreResult::kFailed
                   ? "the database could not be read"
                   : recording.path + " has another row than recording " +
                         std::to_string(recording.event.GetID()) +
                         ": \"wpctl storage check --repair\" removes the one that is too many");
  return true;
}

int Delete(const Options& options) {
  std::vector<int> ids = options.ids;
  if (ids.empty()) {
    if (const int status = Choose(options, ids); status != kDone) return status;
    if (ids.empty()) {
      std::printf("No recordings.\n");
      return kDone;
    }
  } else if (!RequireDatabase() || !MayDelete(options)) {
    return kFailed;
  }
  Progress progress(true);
  double done = 0;
  for (const int id : ids) {
    const std::optional<Recording> recording = FindFinishedRecording(id);
    if (!recording || IsDuplicate(*recording)) return kFailed;
    if (DeleteEvent(id) != 0)
      return Failed("the database did not delete recording " + std::to_string(id));
    progress.Show(++done / static_cast<double>(ids.size()), recording->event.GetPath());
  }
  std::printf("%zu recordings deleted.\n", ids.size());
  return kDone;
}

}  // namespace

void AddEventDelete(Group& event) {
  auto [verb, options] = event.Add("delete", "Delete recordings, files and rows", Delete);
  verb.Add("ID", options.ids, "Recordings; without any, those that the options choose");
  AddFilter(verb, options.filter);
  AddYes(verb, options.yes, "Do not ask, but about archived ones that are named");
  verb.AddFlag("--archived", options.archived, "Archived ones, too");
  AddExamples(
      verb, {"wpctl event delete 17 18", "wpctl event delete --camera Porch --until \"30d ago\""});
}

}  // namespace wpctl
