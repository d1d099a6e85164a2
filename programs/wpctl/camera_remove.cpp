// wpctl camera remove

#include <unistd.h>
#include <watchpost/base/paths.h>
#include <watchpost/event/camerafolder.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/event/eventstore.h>
#include <watchpost/event/recordingfile.h>
#include <watchpost/notify/wpmail.h>

#include <cstdio>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "camerafolder.h"
#include "cameras.h"
#include "commands.h"
#include "foldermove.h"
#include "locks.h"
#include "ownrecordings.h"
#include "progress.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Options {
  std::string camera;
  bool yes = false;
};

struct Removed {
  int files = 0;
  std::vector<std::string> left;
};

// The recordings with their motion logs. Those that cannot be removed show in what is left.
int RemoveFiles(const std::string& folder, const std::set<std::string>& names) {
  Progress progress(true);
  int removed = 0;
  double done = 0;
  for (const std::string& name : names) {
    progress.Show(done++ / static_cast<double>(names.size()), name);
    const std::string path = watchpost::JoinRecordingPath(folder, name);
    if (RemoveEventFile(path.c_str()) == 0) ++removed;
  }
  return removed;
}

// The files first: a removal that was cut short is begun again by the same command.
bool RemoveAll(Camera& camera, bool has_folder, Removed& removed, std::string& error) {
  const watchpost::UniqueFd daemon = HoldDaemon(camera.GetId(), error);
  if (!daemon.IsValid()) return false;
  const std::string folder = camera.GetStoragePath();
  const bool shared = IsSharedFolder(camera, folder);
  if (has_folder) {
    const auto names = OwnRecordings(camera, folder, true);
    if (!names) {
      error = "the database could not be read: nothing was removed";
      return false;
    }
    removed.files = RemoveFiles(folder, *names);
  }
  if (watchpost::RemoveEvents(camera.GetId()) != watchpost::StoreResult::kDone ||
      camera.GetMotionDet()->Delete(camera.GetId()) != 0 || camera.DeleteDBEntry() != 0) {
    error = "the database did not remove the camera; the system log says why";
    return false;
  }
  for (const std::string& file : {watchpost::DaemonJournalFile(camera.GetId()),
                                  watchpost::DaemonStatusFile(camera.GetId()),
                                  watchpost::DaemonLockFile(camera.GetId())})
    (void)unlink(file.c_str());  // it may not be there
  // Of a disk that is away, the mark stays, too.
  if (!shared) watchpost::ReleaseCameraFolder(camera);
  if (has_folder && !shared) removed.left = RemoveIfEmpty(folder);
  return true;
}

int Remove(const Options& options) {
  std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  const std::string title = TitleOf(*camera);
  const std::string folder = camera->GetStoragePath();
  std::string error;
  if (!HoldDaemon(camera->GetId(), error).IsValid()) return Failed(error);
  if (HasUnfinishedMove(*camera, error)) return Failed(error);
  const std::string missing = MissingFolder(*camera);
  if (!missing.empty()) (void)Failed(missing);
  const auto rows = watchpost::ReadEvents(camera->GetId());
  if (!rows) return Failed("the database could not be read");
  const std::string with =
      missing.empty() ? " with its " + std::to_string(rows->size()) + " recordings in " + folder
                      : "? Its recordings stay on the disk that is not there";
  if (!options.yes && !Confirm("Remove camera " + title + with + "?"))
    return Failed("nothing was removed; --yes removes without asking");
  Removed removed;
  if (!RemoveAll(*camera, missing.empty(), removed, error)) return Failed(error);
  (void)WPMailSender().SendMail(WP_MAIL_DELETE_CAMERA, &*camera, nullptr, nullptr);  // if it can be
  std::printf("Camera %s removed with %zu rows and %d files.\n",
              Printable(title).c_str(),
              rows->size(),
              removed.files);
  if (!removed.left.empty()) {
    std::printf("%s stays, with what is none of its recordings: %s\n",
                Printable(folder).c_str(),
                Printable(NameSome(removed.left)).c_str());
  }
  return kDone;
}

}  // namespace

void AddCameraRemove(Group& camera) {
  auto [verb, options] = camera.Add("remove", "Remove a camera with all its recordings", Remove);
  AddCameraArgument(verb, options.camera);
  AddYes(verb, options.yes);
  AddExamples(verb,
              "Of its folder go its recordings with their motion logs; what else is in it stays.",
              {"wpctl camera remove Porch", "wpctl camera remove 1 --yes"});
}

}  // namespace wpctl
