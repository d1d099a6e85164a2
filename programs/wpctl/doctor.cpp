// wpctl doctor: what a service needs to run, a line each, with what to do about it.

#include <sys/statvfs.h>
#include <unistd.h>
#include <watchpost/notify/notification.h>
#include <watchpost/database/health.h>
#include <watchpost/database/wpdb.h>
#include <watchpost/notify/maildelivery.h>
#include <watchpost/platform/orvaserviceinfo.h>
#include <watchpost/base/paths.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <list>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cameras.h"
#include "commands.h"
#include "report.h"

namespace wpctl {
namespace {

constexpr int kMostRings = 16;  // the kernel limits that a ring sets leave room for so many sets
constexpr long kOldestClock = 1767225600;  // 2026-01-01: before it the clock was never set
constexpr std::uint64_t kLittleSpace = 1ULL << 30;

struct Finding {
  enum Grade { kGood, kWarning, kBad } grade;
  std::string what;
  std::string remedy;
};
using Findings = std::vector<Finding>;

void Add(Findings& findings, Finding::Grade grade, std::string what, std::string remedy = "") {
  findings.push_back({grade, std::move(what), std::move(remedy)});
}

bool CheckDatabase(Findings& findings) {
  const watchpost::DatabaseState state = watchpost::ExamineDatabase();
  if (state == watchpost::DatabaseState::kAway) {
    Add(findings,
        Finding::kBad,
        std::string("the database \"") + gszDBName + "\" does not answer",
        "start PostgreSQL on localhost (PGPORT names another port than 5432), then \"wpctl db "
        "init\"");
    return false;
  }
  if (state == watchpost::DatabaseState::kNoTables) {
    Add(findings, Finding::kBad, "the database lacks tables", "run \"wpctl db init\"");
    return false;
  }
  Add(findings, Finding::kGood, "the database answers and has its tables");
  return true;
}

void CheckPrivileges(Findings& findings) {
  if (geteuid() == 0) return Add(findings, Finding::kGood, "runs as root");
  Add(findings,
      Finding::kWarning,
      "does not run as root",
      "live pictures need root: wpd sets limits of the kernel's; without, it only records");
}

void CheckLimits(Findings& findings, std::size_t cameras) {
  if (access("/proc/sys/kernel/sem", W_OK) != 0 && geteuid() != 0) {
    Add(findings,
        Finding::kWarning,
        "/proc/sys/kernel/sem cannot be written",
        "live pictures are off; recording does not need them");
  } else {
    Add(findings, Finding::kGood, "the limits of semaphores can be set");
  }
  if (cameras > kMostRings) {
    Add(findings,
        Finding::kWarning,
        std::to_string(cameras) + " cameras, of which only 16 can show live pictures",
        "the others record without them; ring_kibibytes=0 in [wpd] switches them off for all");
  }
}

void CheckFolder(Findings& findings, const std::string& what, const std::string& folder) {
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    return Add(findings,
               Finding::kBad,
               what + " " + Printable(folder) + " cannot be written",
               "make it, or mount its disk");
  }
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return;
  const std::uint64_t free = static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
  std::array<char, 32> text{};
  (void)std::snprintf(
      text.data(), text.size(), "%.1f GiB free", static_cast<double>(free) / (1 << 30));
  if (free < kLittleSpace) {
    return Add(findings,
               Finding::kWarning,
               what + " " + Printable(folder) + " has only " + text.data(),
               "make room, or give cameras limits: wpctl camera set CAMERA --capacity MIB");
  }
  Add(findings, Finding::kGood, what + " " + Printable(folder) + " can be written, " + text.data());
}

void CheckFolders(Findings& findings, const std::list<Camera>& cameras) {
  ORVA_SERVICE_INFO info{};
  if (ORVAServiceInfoGet(watchpost::kRecordingService, &info) <= 0) {
    Add(findings,
        Finding::kBad,
        watchpost::ConfigurationFile() + " has no valid section [service 9]",
        "copy the example that came with this program, and name the folder of recordings");
  } else {
    CheckFolder(findings, "the service's folder", info.path);
  }
  for (const Camera& camera : cameras) {
    const std::string folder = camera.GetStoragePath();
    if (access(folder.c_str(), W_OK | X_OK) != 0)
      CheckFolder(findings, "the folder of camera " + std::to_string(camera.GetId()), folder);
  }
}

void CheckProgram(Findings& findings) {
  const std::string program = watchpost::DaemonProgram();
  if (access(program.c_str(), X_OK) == 0)
    return Add(findings, Finding::kGood, program + " is there");
  Add(findings, Finding::kBad, program + " is missing", "install the service: cmake --install");
}

void CheckClock(Findings& findings) {
  const time_t now = std::time(nullptr);
  std::array<char, 64> text{};
  tm local{};
  (void)localtime_r(&now, &local);
  (void)std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %Z", &local);
  if (now < kOldestClock) {
    return Add(findings,
               Finding::kBad,
               std::string("the clock says ") + text.data(),
               "set it: recordings bear its time");
  }
  Add(findings, Finding::kGood, std::string("the clock says ") + text.data());
}

void CheckMail(Findings& findings) {
  Notification settings(NOTIFICATION_NONE, "", 0, false, "", "", false, false, "", "");
  (void)settings.Reload();  // no row means no mails
  if (settings.GetMethod() == NOTIFICATION_NONE) {
    return Add(findings,
               Finding::kWarning,
               "mails are switched off",
               "\"wpctl mail set --help\" tells how to switch them on");
  }
  const std::string library = watchpost::RootedPath("/lib/liborvasmtp.so");
  if (access(library.c_str(), R_OK) != 0)
    return Add(
        findings, Finding::kBad, library + " is missing: no mail goes out", "cmake --install");
  Add(findings, Finding::kGood, "mails are switched on; \"wpctl mail test\" sends one");
}

void CheckDaemons(Findings& findings, const std::list<Camera>& cameras) {
  const auto running = std::count_if(cameras.begin(), cameras.end(), [](const Camera& camera) {
    return RunningDaemon(camera.GetId()).has_value();
  });
  const std::string what =
      std::to_string(running) + " of " + std::to_string(cameras.size()) + " cameras have a daemon";
  if (cameras.empty())
    return Add(findings, Finding::kWarning, "there is no camera", "wpctl camera add --help");
  if (static_cast<std::size_t>(running) == cameras.size())
    return Add(findings, Finding::kGood, what);
  Add(findings, Finding::kWarning, what, "\"wpctl service start\" starts the others");
}

int Examine(bool as_json) {
  Findings findings;
  std::list<Camera> cameras;
  const bool database = CheckDatabase(findings);
  if (database) cameras = CameraGetAll();
  CheckPrivileges(findings);
  CheckLimits(findings, cameras.size());
  CheckProgram(findings);
  CheckFolders(findings, cameras);
  CheckClock(findings);
  if (database) CheckMail(findings);
  if (database) CheckDaemons(findings, cameras);
  constexpr std::array kGrades{"good", "look", "BAD"};
  bool bad = false;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    bad = bad || finding.grade == Finding::kBad;
    all.push_back(
        {{"grade", kGrades[finding.grade]}, {"what", finding.what}, {"remedy", finding.remedy}});
    if (as_json) continue;
    std::printf("%-5s %s%s%s\n",
                kGrades[finding.grade],
                finding.what.c_str(),
                finding.remedy.empty() ? "" : "\n        -> ",
                finding.remedy.c_str());
  }
  if (as_json) PrintJson(all);
  return bad ? kFailed : kDone;
}

}  // namespace

void AddDoctorCommand(CLI::App& app, int& status) {
  CLI::App* verb = app.add_subcommand("doctor", "Check what the service needs to run");
  const auto as_json = std::make_shared<bool>(false);
  verb->add_flag("--json", *as_json, "For scripts");
  verb->footer(
      "Changes nothing. Exit status 1 when something keeps the service from running.\n\n"
      "Examples:\n  wpctl doctor");
  verb->callback([&status, as_json] { status = Examine(*as_json); });
}

}  // namespace wpctl
