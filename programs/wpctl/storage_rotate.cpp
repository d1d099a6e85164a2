// wpctl storage rotate: what a camera's limits let go, now instead of on the next full hour.

#include <unistd.h>
#include <watchpost/event/recordingfile.h>
#include <watchpost/event/removal.h>
#include <watchpost/event/wprotate.h>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>

#include "camerafolder.h"
#include "cameras.h"
#include "commands.h"
#include "foldermove.h"
#include "progress.h"
#include "quantity.h"
#include "report.h"
#include "signals.h"
#include "timetext.h"
#include "verb.h"

namespace wpctl {
namespace {

using watchpost::PlannedRemoval;
using watchpost::RotationPlan;
using watchpost::RotationRule;

constexpr std::size_t kMostShown = 20;

struct Options {
  std::string camera;
  bool dry_run = false;
  bool json = false;
};

double BytesOf(const RotationPlan& plan) {
  double bytes = 0;
  for (const PlannedRemoval& removal : plan.removals) bytes += removal.event.GetSize();
  return bytes;
}

// What a rotation by the camera's limits would remove now; false when the database cannot be read.
bool Plan(const Camera& camera, RotationPlan& plan) {
  return watchpost::PlanRotation(camera,
                                 CapacityLimitOf(camera).value_or(0),
                                 DaysLimitOf(camera).value_or(0),
                                 std::time(nullptr),
                                 plan);
}

const char* WhyOf(RotationRule rule) {
  return rule == RotationRule::kSize ? "capacity" : "days";
}

void PrintPlan(const RotationPlan& plan) {
  Table table({">Id", "Ended", ">MiB", "Because of", "File"});
  std::size_t shown = 0;
  for (const PlannedRemoval& removal : plan.removals) {
    if (shown++ == kMostShown) break;
    table.AddRow({std::to_string(removal.event.GetID()),
                  LocalTime(removal.event.GetStopTime()),
                  InMiB(removal.event.GetSize()),
                  WhyOf(removal.rule),
                  removal.event.GetPath()});
  }
  table.Print();
  if (plan.removals.size() > kMostShown)
    std::printf("... and %zu more\n", plan.removals.size() - kMostShown);
}

void PrintPlanJson(const Camera& camera,
                   const RotationPlan& plan,
                   std::optional<std::size_t> gone) {
  nlohmann::ordered_json removals = nlohmann::ordered_json::array();
  for (const PlannedRemoval& removal : plan.removals) {
    removals.push_back({{"id", removal.event.GetID()},
                        {"stop", removal.event.GetStopTime()},
                        {"bytes", removal.event.GetSize()},
                        {"because_of", WhyOf(removal.rule)},
                        {"path", removal.event.GetPath()}});
  }
  nlohmann::ordered_json json{{"capacity_mib", NumberOrNull(CapacityLimitOf(camera))},
                              {"days", NumberOrNull(DaysLimitOf(camera))},
                              {"bytes", std::llround(plan.total * kMiB)},
                              {"removals", removals}};
  if (gone) json["removed"] = *gone;
  PrintJson(json);
}

// What there is and what the limits say of it, in a line or two.
void PrintReason(const Camera& camera, const RotationPlan& plan) {
  const int limit = CapacityLimitOf(camera).value_or(0);
  std::printf(
      "Camera %s holds %s MiB", Printable(TitleOf(camera)).c_str(), Decimal(plan.total).c_str());
  if (limit > 0) std::printf(", its limit is %d MiB", limit);
  if (plan.cutoff > 0) {
    std::printf(limit > 0 ? ", and nothing from before %s" : "; it keeps nothing from before %s",
                LocalTime(plan.cutoff).c_str());
  }
  std::printf(".\n");
}

int Run(Camera& camera) {
  BlockEndingSignals();
  WPRotate rotate(&camera);
  if (rotate.Start(CapacityLimitOf(camera).value_or(0), DaysLimitOf(camera).value_or(0)) !=
      WP_ROTATE_OK)
    return Failed("no thread could be made");
  Progress progress(false);
  while (rotate.IsRotateStarted()) {
    progress.Show(0, "removing");
    if (WaitForEndingSignal()) {
      (void)rotate.Stop();  // it may just have come to its end
      return Failed("stopped; what was removed so far stays removed");
    }
  }
  return kDone;
}

// How many of the planned recordings have gone, file and row.
std::size_t CountGone(const Camera& camera, const RotationPlan& plan) {
  RotationPlan after;
  if (!Plan(camera, after)) return 0;
  std::set<int> left;
  for (const PlannedRemoval& removal : after.removals) left.insert(removal.event.GetID());
  std::size_t gone = 0;
  for (const PlannedRemoval& removal : plan.removals) {
    const auto file = watchpost::RecordingPath(camera, removal.event);
    const bool stays = file && access(file->c_str(), F_OK) == 0;
    if (!left.contains(removal.event.GetID()) && !stays) ++gone;
  }
  return gone;
}

void PrintOutcome(const RotationPlan& plan, std::optional<std::size_t> gone) {
  if (plan.removals.empty()) {
    std::printf(plan.excess > 0 ? "Nothing can go: what exceeds the limit is archived or being "
                                  "written.\n"
                                : "Nothing has to go.\n");
  } else if (!gone) {
    std::printf("A rotation would remove %zu recordings of %s MiB.\n",
                plan.removals.size(),
                InMiB(BytesOf(plan)).c_str());
  } else {
    std::printf("Removed %zu recordings.\n", *gone);
  }
}

int Rotate(const Options& options) {
  std::optional<Camera> camera = FindCamera(options.camera);
  if (!camera) return kFailed;
  if (CapacityLimitOf(*camera).value_or(0) <= 0 && DaysLimitOf(*camera).value_or(0) <= 0) {
    return Failed("camera " + options.camera + " has no limit; \"wpctl camera set " +
                  options.camera + " --capacity MIB\" or \"--days N\" gives it one");
  }
  std::string why = MissingFolder(*camera);
  if (!why.empty() || HasUnfinishedMove(*camera, why)) return Failed(why);
  RotationPlan plan;
  if (!Plan(*camera, plan))
    return Failed("the database could not be read; the system log says why");
  if (!options.json) PrintReason(*camera, plan);
  if (options.dry_run && !options.json && !plan.removals.empty()) PrintPlan(plan);
  std::optional<std::size_t> gone;
  if (!options.dry_run) {
    if (!plan.removals.empty()) {
      if (const int status = Run(*camera); status != kDone) return status;
    }
    gone = CountGone(*camera, plan);
  }
  if (options.json) {
    PrintPlanJson(*camera, plan, gone);
  } else {
    PrintOutcome(plan, gone);
  }
  if (!gone || *gone == plan.removals.size()) return kDone;
  return Failed(
      std::to_string(plan.removals.size() - *gone) +
      " recordings could not be removed, file and row; \"wpctl storage check\" shows them");
}

}  // namespace

void AddStorageRotate(Group& storage) {
  auto [verb, options] =
      storage.Add("rotate",
                  "Remove what exceeds a camera's limits now instead of on the next full hour",
                  Rotate);
  AddCameraArgument(verb, options.camera);
  verb.AddFlag("-n,--dry-run", options.dry_run, "Only show what would go, and why");
  AddJson(verb, options.json);
  AddExamples(verb,
              "Archived recordings, and one that is being written, never go.",
              {"wpctl storage rotate Porch --dry-run", "wpctl storage rotate Porch"});
}

}  // namespace wpctl
