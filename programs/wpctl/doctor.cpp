// wpctl doctor: what a service needs to run, a line each, with what to do about it.

#include <sys/statvfs.h>
#include <unistd.h>
#include <watchpost/base/paths.h>
#include <watchpost/camera/camera.h>
#include <watchpost/camera/servicefolder.h>
#include <watchpost/database/health.h>
#include <watchpost/database/wpdb.h>
#include <watchpost/motion/motionsequence.h>
#include <watchpost/service/daemonstate.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "camerafolder.h"
#include "cameras.h"
#include "camerastate.h"
#include "commands.h"
#include "foldermove.h"
#include "liveframe.h"
#include "mailsettings.h"
#include "quantity.h"
#include "report.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

constexpr int kMostRings = 16;  // the kernel limits that a ring sets leave room for so many sets
constexpr long kOldestClock = 1767225600;  // 2026-01-01: before it the clock was never set
constexpr double kLittleSpace = kGiB;

struct Remark {
  enum Grade { kGood, kWarning, kBad } grade;
  std::string what;
  std::string remedy;
};
using Remarks = std::vector<Remark>;

void Add(Remarks& remarks, Remark::Grade grade, std::string what, std::string remedy = "") {
  remarks.push_back({grade, std::move(what), std::move(remedy)});
}

bool CheckDatabase(Remarks& remarks) {
  const watchpost::DatabaseState state = watchpost::ExamineDatabase();
  if (state == watchpost::DatabaseState::kAway) {
    Add(remarks,
        Remark::kBad,
        std::string("the database \"") + gszDBName + "\" does not answer",
        "start PostgreSQL on localhost (PGPORT names another port than 5432), then \"wpctl db "
        "init\"");
    return false;
  }
  if (state == watchpost::DatabaseState::kNoTables) {
    Add(remarks, Remark::kBad, "the database lacks tables", "run \"wpctl db init\"");
    return false;
  }
  if (state == watchpost::DatabaseState::kOldSchema) {
    Add(remarks,
        Remark::kWarning,
        "the database has the tables of an earlier version",
        "stop the daemons, and run \"wpctl db upgrade\"");
    return true;
  }
  Add(remarks, Remark::kGood, "the database answers and has its tables");
  return true;
}

void CheckPrivileges(Remarks& remarks) {
  if (geteuid() == 0) return Add(remarks, Remark::kGood, "runs as root");
  Add(remarks,
      Remark::kWarning,
      "does not run as root",
      "live frames need root: wpd sets limits of the kernel's; without, it only records");
}

void CheckLimits(Remarks& remarks, std::size_t cameras) {
  if (access("/proc/sys/kernel/sem", W_OK) != 0 && geteuid() != 0) {
    Add(remarks,
        Remark::kWarning,
        "/proc/sys/kernel/sem cannot be written",
        "live frames are off; recording does not need them");
  } else {
    Add(remarks, Remark::kGood, "the limits of semaphores can be set");
  }
  if (cameras > kMostRings) {
    Add(remarks,
        Remark::kWarning,
        std::to_string(cameras) + " cameras, of which only 16 can show live frames",
        "the others record without them; ring_kibibytes=0 in [wpd] switches them off for all");
  }
}

void CheckFolder(Remarks& remarks, const std::string& what, const std::string& folder) {
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    return Add(remarks,
               Remark::kBad,
               what + " " + Printable(folder) + " cannot be written",
               "make it, or mount its disk");
  }
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return;
  const double free = static_cast<double>(status.f_bavail) * static_cast<double>(status.f_frsize);
  const std::string text = Decimal(free / kGiB) + " GiB free";
  if (free < kLittleSpace) {
    return Add(remarks,
               Remark::kWarning,
               what + " " + Printable(folder) + " has only " + text,
               "make room, or give cameras limits: wpctl camera set CAMERA --capacity MIB");
  }
  Add(remarks, Remark::kGood, what + " " + Printable(folder) + " can be written, " + text);
}

void CheckServiceFolder(Remarks& remarks) {
  const std::optional<watchpost::ServiceFolder> service = watchpost::FindServiceFolder();
  if (!service) {
    Add(remarks,
        Remark::kBad,
        watchpost::ConfigurationFile() + " has no valid section [service 9]",
        "copy the example that came with this program, and name the folder of recordings");
  } else {
    CheckFolder(remarks, "the service's folder", service->path);
  }
}

void CheckCameraFolder(Remarks& remarks, const Camera& camera) {
  const std::string what = "the folder of camera " + std::to_string(camera.GetId());
  if (const std::string missing = MissingFolder(camera); !missing.empty()) {
    return Add(remarks,
               Remark::kBad,
               what + ": " + Printable(missing),
               "mount it, or have the folder made anew: wpctl storage check --repair");
  }
  CheckFolder(remarks, what, camera.GetStoragePath());
  std::string move;
  if (HasUnfinishedMove(camera, move)) Add(remarks, Remark::kWarning, Printable(move));
}

void CheckCameras(Remarks& remarks, const std::list<Camera>& cameras) {
  for (const Camera& camera : cameras) {
    const CameraState state = ReadCameraState(camera.GetId());
    const std::string title = "camera " + Printable(TitleOf(camera));
    if (state.recording.value_or(false)) {
      Add(remarks, Remark::kGood, title + " is recording");
    } else {
      Add(remarks,
          state.healthy ? Remark::kGood : Remark::kBad,
          title + " is not recording: " + Printable(state.because),
          state.healthy ? ""
                        : "\"wpctl service status\" shows more, \"wpctl service start\" starts it");
    }
  }
}

void CheckPictures(Remarks& remarks, const std::list<Camera>& cameras) {
  for (const Camera& camera : cameras) {
    if (ExceedsWatchedPart(camera)) {
      Add(remarks,
          Remark::kWarning,
          "camera " + Printable(TitleOf(camera)) + ": " + watchpost::MotionSequence::kClippedText);
    }
  }
}

void CheckProgram(Remarks& remarks) {
  const std::string program = watchpost::DaemonProgram();
  if (access(program.c_str(), X_OK) == 0) return Add(remarks, Remark::kGood, program + " is there");
  Add(remarks, Remark::kBad, program + " is missing", "install the service: cmake --install");
}

void CheckClock(Remarks& remarks) {
  const long now = std::time(nullptr);
  const std::string what = "the clock says " + FormatTime(now, "%Y-%m-%d %H:%M:%S %Z");
  if (now < kOldestClock)
    return Add(remarks, Remark::kBad, what, "set it: recordings bear its time");
  Add(remarks, Remark::kGood, what);
}

void CheckMail(Remarks& remarks) {
  if (ReadNotification().GetMethod() == NOTIFICATION_NONE) {
    return Add(remarks,
               Remark::kWarning,
               "mails are switched off",
               "\"wpctl mail set --help\" says how to switch them on");
  }
  const std::string library = watchpost::RootedPath("/lib/liborvasmtp.so");
  if (access(library.c_str(), R_OK) != 0)
    return Add(remarks, Remark::kBad, library + " is missing: no mail goes out", "cmake --install");
  Add(remarks, Remark::kGood, "mails are switched on; \"wpctl mail test\" sends one");
}

void CheckDaemons(Remarks& remarks, const std::list<Camera>& cameras) {
  const auto running = std::count_if(cameras.begin(), cameras.end(), [](const Camera& camera) {
    return watchpost::RunningDaemon(camera.GetId()).has_value();
  });
  const std::string what =
      std::to_string(running) + " of " + std::to_string(cameras.size()) + " cameras have a daemon";
  if (cameras.empty())
    return Add(remarks, Remark::kWarning, "there is no camera", "wpctl camera add --help");
  if (static_cast<std::size_t>(running) == cameras.size()) return Add(remarks, Remark::kGood, what);
  Add(remarks, Remark::kWarning, what, "\"wpctl service start\" starts the others");
}

int Examine(const ShowAllOptions& options) {
  Remarks remarks;
  std::list<Camera> cameras;
  Remarks of_database;
  const bool database = CheckDatabase(of_database);
  if (database) cameras = CameraGetAll();
  CheckCameras(remarks, cameras);  // what everybody asks first
  remarks.insert(remarks.end(), of_database.begin(), of_database.end());
  CheckPrivileges(remarks);
  CheckLimits(remarks, cameras.size());
  CheckProgram(remarks);
  CheckServiceFolder(remarks);
  for (const Camera& camera : cameras) CheckCameraFolder(remarks, camera);
  CheckPictures(remarks, cameras);
  CheckClock(remarks);
  if (database) CheckMail(remarks);
  if (database) CheckDaemons(remarks, cameras);
  constexpr std::array kGrades{"good", "warning", "bad"};
  bool bad = false;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Remark& remark : remarks) {
    bad = bad || remark.grade == Remark::kBad;
    all.push_back(
        {{"grade", kGrades[remark.grade]}, {"what", remark.what}, {"remedy", remark.remedy}});
    if (options.json) continue;
    std::printf("%-7s  %s%s%s\n",
                kGrades[remark.grade],
                remark.what.c_str(),
                remark.remedy.empty() ? "" : "\n         -> ",
                remark.remedy.c_str());
  }
  if (options.json) PrintJson(all);
  return bad ? kFailed : kDone;
}

}  // namespace

void AddDoctor(Group& top) {
  auto [verb, options] = top.Add("doctor", "Check what the service needs to run", Examine);
  AddJson(verb, options.json);
  AddExamples(verb,
              "Changes nothing. Exit status 1 when something keeps the service from running, or a "
              "camera is\n"
              "not recorded that should be.",
              {"wpctl doctor"});
}

}  // namespace wpctl
