// wpctl storage: how much there is, whether files and rows agree, and clearing what belongs to
// nobody.

#include <watchpost/camera/camera.h>
#include <watchpost/event/eventfiles.h>
#include <watchpost/event/eventstore.h>
#include <watchpost/base/paths.h>
#include <watchpost/platform/orvaserviceinfo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
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
#include "progress.h"
#include "report.h"
#include "storagecheck.h"

namespace wpctl {
namespace {

constexpr double kMiB = 1048576;
constexpr int kDays = 7;
constexpr std::int64_t kEndOfTime = std::int64_t{1} << 40;

using Sums = std::map<int, watchpost::EventUsage>;  // by camera

// Recordings that began in a span of time, added up by camera; none when they cannot be read.
Sums AddUp(std::int64_t from, std::int64_t until) {
  return watchpost::ReadUsage(from, until).value_or(Sums());
}

// The first second of the day `ago` days ago.
long Midnight(int ago) {
  const time_t now = time(nullptr);
  tm local{};
  (void)localtime_r(&now, &local);
  local.tm_mday -= ago;
  local.tm_hour = local.tm_min = local.tm_sec = 0;
  local.tm_isdst = -1;
  return std::mktime(&local);
}

std::string Mebibytes(std::int64_t bytes) {
  std::array<char, 32> text{};
  (void)std::snprintf(text.data(), text.size(), "%.1f", static_cast<double>(bytes) / kMiB);
  return text.data();
}

// How long until the camera's limit is reached at the rate of the last day.
std::string TimeLeft(const Camera& camera, std::int64_t used, std::int64_t last_day) {
  if (!camera.IsRotatedBySize()) return "no limit";
  const double left = camera.GetCapacityLimit() * kMiB - static_cast<double>(used);
  if (left <= 0) return "reached";
  if (last_day <= 0) return "never at this rate";
  std::array<char, 32> text{};
  (void)std::snprintf(text.data(), text.size(), "%.1f days", left / static_cast<double>(last_day));
  return text.data();
}

int Usage(bool as_json) {
  if (!RequireDatabase()) return kFailed;
  const std::int64_t now = time(nullptr);
  Sums all = AddUp(0, kEndOfTime);
  Sums last_day = AddUp(now - 86400, kEndOfTime);
  std::vector<Sums> days;
  for (int ago = kDays - 1; ago >= 0; --ago)
    days.push_back(AddUp(Midnight(ago), Midnight(ago - 1)));
  std::vector<std::string> headings{">ID", "CAMERA", ">RECORDINGS", ">MIB", ">LIMIT", "LIMIT IN"};
  for (int ago = kDays - 1; ago >= 0; --ago) {
    const time_t day = Midnight(ago);
    tm local{};
    std::array<char, 16> name{};
    (void)localtime_r(&day, &local);
    (void)strftime(name.data(), name.size(), ">%m-%d", &local);
    headings.emplace_back(name.data());
  }
  Table table(headings);
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Camera& camera : CameraGetAll()) {
    const int id = camera.GetId();
    const std::string left = TimeLeft(camera, all[id].bytes, last_day[id].bytes);
    std::vector<std::string> row{
        std::to_string(id),
        camera.GetName(),
        std::to_string(all[id].recordings),
        Mebibytes(all[id].bytes),
        camera.IsRotatedBySize() ? std::to_string(camera.GetCapacityLimit()) : "-",
        left};
    nlohmann::ordered_json by_day = nlohmann::ordered_json::array();
    for (Sums& day : days) {
      row.push_back(Mebibytes(day[id].bytes));
      by_day.push_back(day[id].bytes);
    }
    table.AddRow(row);
    json.push_back({{"camera", id},
                    {"name", camera.GetName()},
                    {"recordings", all[id].recordings},
                    {"bytes", all[id].bytes},
                    {"last_24_hours", last_day[id].bytes},
                    {"limit_in", left},
                    {"by_day", by_day}});
  }
  if (as_json) {
    PrintJson(json);
  } else {
    table.Print();
    std::printf("Days are MiB of recordings that began then.\n");
  }
  return kDone;
}

void PrintFindings(const CameraFindings& camera) {
  std::printf("Camera %d (%s): %d rows, %d files\n",
              camera.camera.GetId(),
              Printable(camera.camera.GetName()).c_str(),
              camera.rows,
              camera.files);
  if (!camera.has_folder) {
    std::printf("  %s is not there; is its disk mounted? Nothing was looked at.\n",
                Printable(camera.camera.GetStoragePath()).c_str());
  }
  for (const Finding& finding : camera.findings)
    std::printf("  %s\n", Printable(Describe(finding)).c_str());
}

int RepairAll(const std::vector<CameraFindings>& cameras, int changes) {
  int repaired = 0;
  int left = 0;
  {
    Progress progress(true);
    int done = 0;
    for (const CameraFindings& camera : cameras) {
      for (const Finding& finding : camera.findings) {
        if (finding.trouble > Trouble::kDiffers) continue;
        (Repair(camera.camera, finding) ? repaired : left) += 1;
        progress.Show(static_cast<double>(++done) / changes, finding.path);
      }
    }
  }
  std::printf("%d repaired%s.\n",
              repaired,
              left > 0 ? (", " + std::to_string(left) + " could not be").c_str() : "");
  return left == 0 ? kDone : kFailed;
}

int Check(bool repair, bool yes) {
  if (!RequireDatabase()) return kFailed;
  std::vector<CameraFindings> cameras;
  int rows = 0;
  int changes = 0;
  bool all_well = true;
  for (const Camera& camera : CameraGetAll()) {
    cameras.push_back(CheckCamera(camera));
    PrintFindings(cameras.back());
    rows += cameras.back().rows;
    changes += cameras.back().Changes();
    all_well = all_well && cameras.back().has_folder && cameras.back().findings.empty();
  }
  if (all_well) {
    std::printf("Files and rows agree.\n");
    return kDone;
  }
  if (!repair) {
    if (changes > 0) std::printf("%d to repair; --repair does, and never removes a file.\n", changes);
    return kFailed;
  }
  constexpr int kTenth = 10;
  if (!yes && changes * kTenth > rows && changes > 1 &&
      !Confirm("Change " + std::to_string(changes) + " rows of " + std::to_string(rows) + "?")) {
    return Failed("more than a tenth of the rows would change: nothing was; --yes does not ask");
  }
  return changes == 0 ? kFailed : RepairAll(cameras, changes);
}

// Entries of the service's folder that belong to no camera.
std::vector<std::string> StrayFolders(const std::string& folder, const std::list<Camera>& cameras) {
  std::vector<std::string> stray;
  std::error_code failure;
  for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const std::string path = folder + "/" + entry->path().filename().string();
    const bool owned = std::any_of(cameras.begin(), cameras.end(), [&](const Camera& camera) {
      return camera.GetStoragePath() == path || camera.GetStoragePath().starts_with(path + "/");
    });
    if (!owned && entry->path().filename() != "@eaDir") stray.push_back(path);
  }
  return stray;
}

int Clean(bool yes) {
  if (!RequireDatabase()) return kFailed;
  ORVA_SERVICE_INFO info{};
  std::error_code failure;
  if (ORVAServiceInfoGet(watchpost::kRecordingService, &info) <= 0 ||
      !std::filesystem::is_directory(info.path, failure)) {
    return Failed(
        "the service's folder cannot be read: set volume and path in section [service 9] of "
        "/etc/orvainfo.conf, and see that its disk is mounted");
  }
  const std::list<Camera> cameras = CameraGetAll();
  for (const Camera& camera : cameras) {
    const std::filesystem::path path(camera.GetStoragePath());
    if (path.parent_path() == info.path && path.has_filename()) continue;
    if (camera.GetStoragePath().starts_with(std::string(info.path) + "/")) {
      return Failed("the folder of camera " + std::to_string(camera.GetId()) + ", " +
                    path.string() + ", would count as nobody's: nothing was cleared");
    }
  }
  const std::vector<std::string> stray = StrayFolders(info.path, cameras);
  if (stray.empty()) {
    std::printf("Nothing to clear: every entry of %s belongs to a camera.\n", info.path);
    return kDone;
  }
  for (const std::string& path : stray) std::printf("%s\n", Printable(path).c_str());
  if (!yes && !Confirm("Remove these " + std::to_string(stray.size()) + " for good?"))
    return Failed("nothing was removed; --yes removes without asking");
  if (ClearObsoleteDir() != 0) return Failed("not all could be removed; the system log says why");
  std::printf("Removed.\n");
  return kDone;
}

}  // namespace

void AddStorageCommands(CLI::App& app, int& status) {
  CLI::App* group = app.add_subcommand("storage", "Files of recordings")->require_subcommand(1);
  const auto flag = std::make_shared<bool>(false);
  const auto yes = std::make_shared<bool>(false);

  CLI::App* usage = group->add_subcommand("usage", "Show how much each camera has recorded");
  usage->add_flag("--json", *flag, "For scripts");
  usage->footer("Examples:\n  wpctl storage usage");
  usage->callback([&status, flag] { status = Usage(*flag); });

  CLI::App* check = group->add_subcommand("check", "Find where files and rows disagree");
  check->add_flag(
      "--repair", *flag, "Repair it: finish files, add and correct rows, drop rows without a file");
  check->add_flag("-y,--yes", *yes, "Do not ask when more than a tenth of the rows would change");
  check->footer(
      "Without --repair nothing is changed; the exit status is 1 when something is wrong. No file "
      "is ever\n"
      "removed.\n\nExamples:\n  wpctl storage check\n  wpctl storage check --repair");
  check->callback([&status, flag, yes] { status = Check(*flag, *yes); });

  CLI::App* clean = group->add_subcommand("clean", "Remove folders that belong to no camera");
  clean->add_flag("-y,--yes", *yes, "Do not ask");
  clean->footer("Examples:\n  wpctl storage clean");
  clean->callback([&status, yes] { status = Clean(*yes); });
  AddRotateCommand(*group, status);
}

}  // namespace wpctl
