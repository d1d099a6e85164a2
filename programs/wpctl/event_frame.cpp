// wpctl event frame

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "exporter.h"
#include "framefile.h"
#include "recordings.h"
#include "report.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Options {
  int id = 0;
  unsigned number = 1;
  std::string at;
  std::string path;
};

int Extract(const Options& options) {
  long at = 0;
  std::string error;
  if (!ParseBound(options.at, false, at, error)) return WrongUsage(error);
  const std::optional<Recording> recording = FindFinishedRecording(options.id);
  if (!recording) return kFailed;
  FrameReader reader(recording->path);
  if (!reader.IsOpen()) return Failed("cannot read " + recording->path + " as a recording");
  const unsigned frames = reader.Attribute().frame_count;
  const unsigned index = at == 0 ? options.number - 1 : CutOut(*recording, reader, at, 0).first;
  if (index >= frames) {
    return Failed("recording " + std::to_string(options.id) + " has " + std::to_string(frames) +
                  " frames, from " + LocalTime(recording->event.GetStartTime()) + " to " +
                  LocalTime(recording->event.GetStopTime()));
  }
  const std::vector<unsigned char>* frame = nullptr;
  const std::string number = std::to_string(index + 1);
  if (reader.Read(index, frame) != MJD_OK)
    return Failed("cannot read frame " + number + " of " + recording->path);
  const std::string stem = std::filesystem::path(recording->path).stem();
  const std::string path = options.path.empty() ? stem + "-" + number + ".jpg" : options.path;
  if (!WriteFrame(path, frame->data(), frame->size(), error)) return Failed(error);
  if (path != "-")
    std::printf("%s: frame %s of %u\n", Printable(path).c_str(), number.c_str(), frames);
  return kDone;
}

}  // namespace

void AddEventFrame(Group& event) {
  auto [verb, options] = event.Add("frame", "Write one frame of a recording as JPEG", Extract);
  AddRecordingArgument(verb, options.id);
  verb.Add("FILE", options.path, "Where to; - for standard output [NAME-NUMBER.jpg]");
  const Option number = verb.Add("--number", options.number, "Which frame, counted from 1")
                            .Between(1, 4000000000)
                            .ShowDefault();
  verb.Add("--at", options.at, "The frame of that moment").Excludes(number);
  AddExamples(
      verb, {"wpctl event frame 17 porch.jpg", "wpctl event frame 17 --at \"yesterday 14:02:10\""});
}

}  // namespace wpctl
