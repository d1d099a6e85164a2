// wpctl event export

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "commands.h"
#include "exporter.h"
#include "progress.h"
#include "recordings.h"
#include "report.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Options {
  std::vector<int> ids;
  std::string path;
  std::string from;
  std::string until;
  bool verify = false;
};

bool HaveOneSize(const std::vector<Segment>& segments) {
  const Event& first = segments.front().recording.event;
  for (const Segment& segment : segments) {
    const Event& event = segment.recording.event;
    if (event.GetVideoWidth() == first.GetVideoWidth() &&
        event.GetVideoHeight() == first.GetVideoHeight())
      continue;
    (void)Failed("recordings " + std::to_string(first.GetID()) + " and " +
                 std::to_string(event.GetID()) +
                 " have pictures of different sizes; export them one by one");
    return false;
  }
  return true;
}

// What is to be exported, in the order of time; empty, with a message printed, when it cannot be.
std::vector<Segment> ChooseSegments(const Options& options, long from, long until) {
  std::vector<Segment> segments;
  for (const int id : options.ids) {
    const std::optional<Recording> recording = FindFinishedRecording(id);
    if (!recording) return {};
    const FrameReader reader(recording->path);
    if (!reader.IsOpen()) {
      (void)Failed("cannot read " + recording->path + " as a recording");
      return {};
    }
    const Segment segment = CutOut(*recording, reader, from, until);
    if (segment.count > 0) segments.push_back(segment);
  }
  if (segments.empty()) {
    (void)Failed("there is nothing between these times");
    return {};
  }
  std::sort(segments.begin(), segments.end(), [](const Segment& a, const Segment& b) {
    return a.recording.event.GetStartTime() < b.recording.event.GetStartTime();
  });
  if (!HaveOneSize(segments)) return {};
  return segments;
}

int ExportRecordings(const Options& options) {
  long from = 0;
  long until = 0;
  std::string error;
  if (!ParseBound(options.from, false, from, error) ||
      !ParseBound(options.until, true, until, error))
    return WrongUsage(error);
  std::error_code failure;
  if (std::filesystem::exists(std::filesystem::symlink_status(options.path, failure)))
    return Failed(options.path + " is there already");
  const std::vector<Segment> segments = ChooseSegments(options, from, until);
  if (segments.empty()) return kFailed;
  {
    Progress progress(true);
    if (!Export(segments, options.path, progress, error)) return Failed(error);
    if (options.verify && !VerifyExport(segments, options.path, progress, error))
      return Failed(error);
  }
  std::printf("%s: %lu frames of %zu recordings%s\n",
              Printable(options.path).c_str(),
              CountFrames(segments),
              segments.size(),
              options.verify ? ", each compared with its recording" : "");
  return kDone;
}

}  // namespace

void AddEventExport(Group& event) {
  auto [verb, options] =
      event.Add("export", "Put recordings, or a part, into one file", ExportRecordings);
  AddRecordingArguments(verb, options.ids);
  verb.Add("-o,--output", options.path, "The file to make").Required();
  verb.Add("--from", options.from, "Begin with this moment");
  verb.Add("--until", options.until, "End before this moment");
  verb.AddFlag("--verify", options.verify, "Read the file back and compare every frame");
  AddExamples(verb,
              "Frames are copied as they are.",
              {"wpctl event export 17 18 -o evening.avi --verify",
               "wpctl event export 17 --from \"14:02\" --until \"14:05\" -o visit.avi"});
}

}  // namespace wpctl
