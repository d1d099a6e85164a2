// wpctl event archive, unarchive

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "recordings.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

using Ids = std::vector<int>;

int Mark(const Ids& ids, bool archived) {
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

int Archive(const Ids& ids) {
  return Mark(ids, true);
}

int Unarchive(const Ids& ids) {
  return Mark(ids, false);
}

}  // namespace

void AddEventArchive(Group& event) {
  auto [verb, ids] = event.Add("archive", "Keep recordings from being rotated away", Archive);
  AddRecordingArguments(verb, ids);
  AddExamples(verb, {"wpctl event archive 17 18"});
}

void AddEventUnarchive(Group& event) {
  auto [verb, ids] = event.Add("unarchive", "Let recordings be rotated away again", Unarchive);
  AddRecordingArguments(verb, ids);
  AddExamples(verb, {"wpctl event unarchive 17 18"});
}

}  // namespace wpctl
