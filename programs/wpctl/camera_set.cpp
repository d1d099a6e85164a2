// wpctl camera set

#include <watchpost/base/uniquefd.h>
#include <watchpost/event/camerafolder.h>
#include <watchpost/service/daemonstate.h>

#include <cstdio>
#include <optional>
#include <string>

#include "camerafolder.h"
#include "cameraform.h"
#include "cameras.h"
#include "commands.h"
#include "foldermove.h"
#include "locks.h"
#include "ownrecordings.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Options {
  std::string camera;
  CameraForm form;
};

// Stores the record, in the place of nobody else's. False, with `error` filled.
bool Store(Camera& camera, std::string& error) {
  const watchpost::UniqueFd lock = LockCameras(error);
  if (!lock.IsValid() || !IsUnique(camera, error)) return false;
  if (camera.Update() == 0) return true;
  error = "the database did not take the change";
  return false;
}

// Whether the recordings of `old` may go to the folder of `camera`.
bool MayMove(const Camera& old, const Camera& camera, std::string& error) {
  const std::string from = old.GetStoragePath();
  const std::string to = camera.GetStoragePath();
  error = MissingFolder(old);
  if (!error.empty()) return false;
  if (TakesMoveBack(old, to)) return true;
  if (HasUnfinishedMove(old, error)) return false;
  if (Overlap(from, to)) {
    error = to + " overlaps " + from + ", the camera's folder";
    return false;
  }
  // A move to it that was cut short before the camera's row was changed.
  return watchpost::UnfinishedMoveFrom(to) == from || IsFresh(to, error);
}

bool Begin(const Camera& old, Camera& camera, std::string& error) {
  const watchpost::UniqueFd lock = LockCameras(error);
  return lock.IsValid() && IsUnique(camera, error) && MayMove(old, camera, error) &&
         BeginMove(camera, old.GetStoragePath(), error);
}

int Move(const Camera& old, Camera& camera) {
  std::string error;
  const watchpost::UniqueFd daemon = HoldDaemon(camera.GetId(), error);
  if (!daemon.IsValid()) return Failed(error);
  const bool begun = old.GetStoragePath() == camera.GetStoragePath();
  if (!(begun ? Store(camera, error) : Begin(old, camera, error))) return Failed(error);
  const std::string from = watchpost::UnfinishedMoveFrom(camera.GetStoragePath());
  FolderMove move;
  if (!FinishMove(camera, move, error)) {
    (void)Failed(error);
    (void)HasUnfinishedMove(camera, error);
    return Failed(error);
  }
  std::printf("Camera %d changed; %d recordings moved to %s.\n",
              camera.GetId(),
              move.moved,
              Printable(camera.GetStoragePath()).c_str());
  for (const std::string& renamed : move.renamed) std::printf("%s\n", Printable(renamed).c_str());
  if (!move.left.empty()) {
    std::printf("%s stays, with what is none of its recordings: %s\n",
                Printable(from).c_str(),
                Printable(NameSome(move.left)).c_str());
  }
  return kDone;
}

int Set(const Options& options) {
  if (IsEmpty(options.form))
    return WrongUsage("say what to change; wpctl camera set --help lists the options");
  std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  const Camera old = *camera;
  std::string error;
  if (!FillIn(options.form, *camera, error)) return WrongUsage(error);
  camera->Validate();
  const bool unfinished = HasUnfinishedMove(old, error);
  const bool moves = camera->GetStoragePath() != old.GetStoragePath();
  if (moves && unfinished && !TakesMoveBack(old, camera->GetStoragePath())) return Failed(error);
  if (moves || (unfinished && options.form.folder)) return Move(old, *camera);
  if (const std::string missing = MissingFolder(old); !missing.empty()) (void)Failed(missing);
  if (unfinished) (void)Failed(error);
  if (camera->strSqlUpdate() == old.strSqlUpdate()) {
    std::printf("Camera %d: nothing to change.\n", camera->GetId());
    return kDone;
  }
  if (!Store(*camera, error)) return Failed(error);
  std::printf("Camera %d changed%s.\n",
              camera->GetId(),
              watchpost::NotifyDaemon(camera->GetId()) ? "; its daemon takes the change over" : "");
  return kDone;
}

}  // namespace

void AddCameraSet(Group& camera) {
  auto [verb, options] =
      camera.Add("set", "Change a camera's settings; a running daemon takes them over", Set);
  AddCameraArgument(verb, options.camera);
  verb.Add("--name", options.form.name, "What to call it");
  verb.Add("--url", options.form.url, kUrlHelp);
  DescribeForm(verb, options.form);
  AddExamples(
      verb,
      "--folder moves the recordings, with the daemon stopped; when that was cut short, the\n"
      "same command goes on, and one with the folder of before takes it back.",
      {"wpctl camera set Porch --sensitivity 80 --days 14",
       "wpctl camera set 1 --url http://192.168.1.30/video.mjpg --capacity off",
       "wpctl camera set Porch --folder /volume2/porch"});
}

}  // namespace wpctl
