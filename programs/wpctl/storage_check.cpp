// wpctl storage check: do files and rows of recordings agree?

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "camerafolder.h"
#include "cameras.h"
#include "commands.h"
#include "findings.h"
#include "progress.h"
#include "report.h"
#include "verb.h"

namespace wpctl {
namespace {

struct Options {
  bool repair = false;
  bool yes = false;
  bool make_folders = false;
};

// What a recorder is about to do looks like trouble for a moment.
constexpr std::chrono::milliseconds kBetweenLooks{1500};

// Everything is looked at twice when there is anything to report.
std::vector<CameraFindings> CheckAll(const std::list<Camera>& cameras) {
  std::vector<CameraFindings> all;
  for (const Camera& camera : cameras) all.push_back(CheckCamera(camera, cameras));
  const auto has_findings = [](const CameraFindings& camera) { return !camera.findings.empty(); };
  if (std::none_of(all.begin(), all.end(), has_findings)) return all;
  std::this_thread::sleep_for(kBetweenLooks);
  for (CameraFindings& camera : all) {
    if (has_findings(camera)) KeepConfirmed(camera, CheckCamera(camera.camera, cameras));
  }
  return all;
}

void PrintFindings(const CameraFindings& camera) {
  const std::string title = Printable(TitleOf(camera.camera));
  if (!camera.HasFolder()) {
    std::printf("Camera %s: %s\n", title.c_str(), Printable(MissingFolder(camera.camera)).c_str());
  } else if (!camera.move.empty()) {
    std::printf("Camera %s: %s\n", title.c_str(), Printable(camera.move).c_str());
  } else if (!camera.has_rows) {
    std::printf("Camera %s: the database did not give its rows. Nothing was checked.\n",
                title.c_str());
  } else {
    std::printf("Camera %s: %d rows, %d files\n", title.c_str(), camera.rows, camera.files);
  }
  for (const Finding& finding : camera.findings)
    std::printf("  %s\n", Printable(Describe(finding)).c_str());
}

// Makes the folders that are missing, each on somebody's word. Their rows are left for the next
// check: whose disk turns up after all has lost nothing. How many stay missing.
int MakeFolders(const std::vector<CameraFindings>& cameras, const Options& options) {
  int left = 0;
  for (const CameraFindings& camera : cameras) {
    if (camera.HasFolder()) continue;
    const std::string folder = camera.camera.GetStoragePath();
    std::string error;
    if (!options.make_folders &&
        !Confirm("Make " + folder + " anew for camera " + TitleOf(camera.camera) + "?")) {
      error = folder + " was not made; --make-folders makes it without asking";
    } else if (watchpost::ClaimCameraFolder(camera.camera, error)) {
      std::printf("%s was made.\n", Printable(folder).c_str());
      continue;
    }
    (void)Failed(error);
    ++left;
  }
  return left;
}

int RepairAll(const std::vector<CameraFindings>& cameras, int changes) {
  int repaired = 0;
  int changed = 0;
  int failed = 0;
  {
    Progress progress(true);
    int done = 0;
    for (const CameraFindings& camera : cameras) {
      for (const Finding& finding : camera.findings) {
        if (!finding.IsRepairable()) continue;
        const RepairResult result = Repair(camera.camera, finding);
        (result == RepairResult::kDone      ? repaired
         : result == RepairResult::kChanged ? changed
                                            : failed) += 1;
        progress.Show(static_cast<double>(++done) / changes, finding.path);
      }
    }
  }
  std::string rest;
  if (changed > 0) rest += ", " + std::to_string(changed) + " left: changed meanwhile";
  if (failed > 0) rest += ", " + std::to_string(failed) + " could not be";
  std::printf("%d repaired%s.\n", repaired, rest.c_str());
  return failed;
}

int RepairWhatMay(const std::vector<CameraFindings>& cameras, const Options& options) {
  int rows = 0;
  int changes = 0;
  bool reported = false;  // what no repair changes
  for (const CameraFindings& camera : cameras) {
    rows += camera.rows;
    changes += camera.Changes();
    reported = reported || !camera.move.empty() || !camera.has_rows ||
               static_cast<std::size_t>(camera.Changes()) < camera.findings.size();
  }
  const int missing = MakeFolders(cameras, options);
  constexpr int kTenth = 10;
  if (!options.yes && changes * kTenth > rows && changes > 1 &&
      !Confirm("Change " + std::to_string(changes) + " rows of " + std::to_string(rows) + "?")) {
    return Failed("more than a tenth of the rows would change: nothing was; --yes does not ask");
  }
  const int failed = changes == 0 ? 0 : RepairAll(cameras, changes);
  return missing == 0 && failed == 0 && (changes > 0 || !reported) ? kDone : kFailed;
}

int Check(const Options& options) {
  if (!RequireDatabase()) return kFailed;
  const std::vector<CameraFindings> cameras = CheckAll(CameraGetAll());
  int changes = 0;
  bool good = true;
  for (const CameraFindings& camera : cameras) {
    PrintFindings(camera);
    changes += camera.Changes();
    good = good && camera.IsGood();
  }
  if (good) {
    std::printf("Files and rows agree.\n");
    return kDone;
  }
  if (options.repair) return RepairWhatMay(cameras, options);
  if (changes > 0) std::printf("%d to repair; --repair does, and never removes a file.\n", changes);
  return kFailed;
}

}  // namespace

void AddStorageCheck(Group& storage) {
  auto [verb, options] = storage.Add("check", "Find where files and rows disagree", Check);
  const Option repair = verb.AddFlag(
      "--repair",
      options.repair,
      "Repair it: finish files, add and correct rows, drop rows without a file; make missing "
      "folders after asking");
  AddYes(verb, options.yes, "Do not ask when more than a tenth of the rows would change");
  verb.AddFlag("--make-folders", options.make_folders, "Make missing folders without asking")
      .Needs(repair);
  AddExamples(
      verb,
      "Without --repair nothing is changed; the exit status is 1 when something is wrong. No\n"
      "file is ever removed.",
      {"wpctl storage check", "wpctl storage check --repair"});
}

}  // namespace wpctl
