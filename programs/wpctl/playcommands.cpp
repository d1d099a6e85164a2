// wpctl event frame and export: pictures out of recordings.

#include <watchpost/event/eventfiles.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "commands.h"
#include "events.h"
#include "exporter.h"
#include "progress.h"
#include "report.h"
#include "timetext.h"

namespace wpctl {
namespace {

struct FrameOptions {
  int id = 0;
  unsigned number = 1;
  std::string at;
  std::string path;
};

struct ExportOptions {
  std::vector<int> ids;
  std::string path;
  std::string from;
  std::string until;
  bool verify = false;
};

// A recording that can be read: finished, and its file there.
std::optional<Recording> FindFinished(int id) {
  std::optional<Recording> recording = FindRecording(id);
  if (!recording) return std::nullopt;
  if (!IsEventComplete(recording->camera, recording->event)) {
    (void)Failed("recording " + std::to_string(id) + " is still being recorded");
    return std::nullopt;
  }
  return recording;
}

// Seconds since the epoch, 0 for no text; prints what is right when it makes no sense.
bool ParseBound(const std::string& text, bool end_of_day, long& seconds) {
  seconds = 0;
  if (text.empty()) return true;
  const std::optional<long> moment = ParseTime(text, time(nullptr), end_of_day);
  if (!moment) {
    (void)WrongUsage("a time is " + std::string(kTimeHelp) + ", not \"" + text + "\"");
    return false;
  }
  seconds = *moment;
  return true;
}

int WriteFrame(const FrameOptions& options) {
  long at = 0;
  if (!ParseBound(options.at, false, at)) return kUsage;
  const std::optional<Recording> recording = FindFinished(options.id);
  if (!recording) return kFailed;
  FrameReader reader(recording->path);
  if (!reader.IsOpen()) return Failed("cannot read " + recording->path + " as a recording");
  const unsigned frames = reader.Attribute().frame_count;
  unsigned index = options.number - 1;
  if (at != 0) index = CutOut(*recording, reader, at, 0).first;
  const std::vector<unsigned char>* frame = nullptr;
  if (index >= frames) {
    return Failed("recording " + std::to_string(options.id) + " has " + std::to_string(frames) +
                  " pictures, from " + LocalTime(recording->event.GetStartTime()) + " to " +
                  LocalTime(recording->event.GetStopTime()));
  }
  if (reader.Read(index, frame) != MJD_OK)
    return Failed("cannot read picture " + std::to_string(index + 1) + " of " + recording->path);
  std::string path = options.path;
  if (path.empty()) {
    const std::string stem = std::filesystem::path(recording->path).stem();
    path = stem + "-" + std::to_string(index + 1) + ".jpg";
  }
  if (path == "-") {
    const bool written = std::fwrite(frame->data(), 1, frame->size(), stdout) == frame->size();
    return written && std::fflush(stdout) == 0 ? kDone : Failed("cannot write the picture");
  }
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(frame->data()),
             static_cast<std::streamsize>(frame->size()));
  file.close();
  if (!file) return Failed("cannot write " + path);
  std::printf("%s: picture %u of %u\n", Printable(path).c_str(), index + 1, frames);
  return kDone;
}

// What is to be exported, in the order of time; empty, with a message printed, when it cannot be.
std::vector<Stretch> ChooseStretches(const ExportOptions& options, long from, long until) {
  std::vector<Stretch> stretches;
  for (const int id : options.ids) {
    const std::optional<Recording> recording = FindFinished(id);
    if (!recording) return {};
    const FrameReader reader(recording->path);
    if (!reader.IsOpen()) {
      (void)Failed("cannot read " + recording->path + " as a recording");
      return {};
    }
    const Stretch stretch = CutOut(*recording, reader, from, until);
    if (stretch.count > 0) stretches.push_back(stretch);
  }
  if (stretches.empty()) (void)Failed("there is nothing between these times");
  std::sort(stretches.begin(), stretches.end(), [](const Stretch& a, const Stretch& b) {
    return a.recording.event.GetStartTime() < b.recording.event.GetStartTime();
  });
  for (const Stretch& stretch : stretches) {
    const Event& event = stretch.recording.event;
    const Event& first = stretches.front().recording.event;
    if (event.GetVideoWidth() == first.GetVideoWidth() &&
        event.GetVideoHeight() == first.GetVideoHeight())
      continue;
    (void)Failed("recordings " + std::to_string(first.GetID()) + " and " +
                 std::to_string(event.GetID()) +
                 " have pictures of different sizes; export them one by one");
    return {};
  }
  return stretches;
}

int ExportRecordings(const ExportOptions& options) {
  long from = 0;
  long until = 0;
  if (!ParseBound(options.from, false, from) || !ParseBound(options.until, true, until))
    return kUsage;
  std::error_code failure;
  if (std::filesystem::exists(std::filesystem::symlink_status(options.path, failure)))
    return Failed(options.path + " is there already");
  const std::vector<Stretch> stretches = ChooseStretches(options, from, until);
  if (stretches.empty()) return kFailed;
  std::string error;
  {
    Progress progress(true);
    if (!Export(stretches, options.path, progress, error)) return Failed(error);
    if (options.verify && !VerifyExport(stretches, options.path, progress, error))
      return Failed(error);
  }
  unsigned long frames = 0;
  for (const Stretch& stretch : stretches) frames += stretch.count;
  std::printf("%s: %lu pictures of %zu recordings%s\n",
              Printable(options.path).c_str(),
              frames,
              stretches.size(),
              options.verify ? ", each compared with its recording" : "");
  return kDone;
}

}  // namespace

void AddPlayCommands(CLI::App& event_group, int& status) {
  CLI::App* frame = event_group.add_subcommand("frame", "Write one picture of a recording as JPEG");
  const auto picture = std::make_shared<FrameOptions>();
  frame->add_option("ID", picture->id, "The recording")->required();
  frame->add_option("FILE", picture->path, "Where to; - for standard output [NAME-NUMBER.jpg]");
  CLI::Option* number =
      frame->add_option("--number", picture->number, "Which picture, counted from 1")
          ->check(CLI::Range(1U, 4000000000U))
          ->capture_default_str();
  frame->add_option("--at", picture->at, "The picture of that moment")->excludes(number);
  frame->footer(
      "Examples:\n  wpctl event frame 17 porch.jpg\n"
      "  wpctl event frame 17 --at \"yesterday 14:02:10\"");
  frame->callback([&status, picture] { status = WriteFrame(*picture); });

  CLI::App* verb = event_group.add_subcommand("export", "Put recordings, or a part, into one file");
  const auto options = std::make_shared<ExportOptions>();
  verb->add_option("ID", options->ids, "Recordings")->required();
  verb->add_option("-o,--output", options->path, "The file to make")->required();
  verb->add_option("--from", options->from, "Begin with this moment");
  verb->add_option("--until", options->until, "End before this moment");
  verb->add_flag("--verify", options->verify, "Read the file back and compare every picture");
  verb->footer(
      "Pictures are copied as they are, and cut where a picture begins.\n"
      "\nExamples:\n  wpctl event export 17 18 -o evening.avi --verify\n"
      "  wpctl event export 17 --from \"14:02\" --until \"14:05\" -o visit.avi");
  verb->callback([&status, options] { status = ExportRecordings(*options); });
}

}  // namespace wpctl
