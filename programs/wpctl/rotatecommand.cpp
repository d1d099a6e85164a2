// wpctl storage rotate: what a camera's limits let go, now instead of on the next full hour.

#include <unistd.h>
#include <watchpost/event/recordingfile.h>
#include <watchpost/event/removal.h>
#include <watchpost/event/wprotate.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>

#include "cameras.h"
#include "commands.h"
#include "events.h"
#include "progress.h"
#include "report.h"
#include "signals.h"

namespace wpctl {
namespace {

using watchpost::PlannedRemoval;
using watchpost::RotationPlan;
using watchpost::RotationRule;

constexpr std::size_t kMostShown = 20;
constexpr double kMiB = 1048576;

struct Limits {
  int size;
  int days;
};

Limits LimitsOf(const Camera& camera) {
  return {camera.IsRotatedBySize() ? camera.GetCapacityLimit() : 0,
          camera.IsRotatedByDate() ? camera.GetExpireDays() : 0};
}

std::string InMiB(double mib) {
  std::array<char, 32> text{};
  (void)std::snprintf(text.data(), text.size(), "%.1f", mib);
  return text.data();
}

double SizeOf(const RotationPlan& plan) {
  double bytes = 0;
  for (const PlannedRemoval& removal : plan.removals) bytes += removal.event.GetSize();
  return bytes / kMiB;
}

const char* WhyOf(RotationRule rule) {
  return rule == RotationRule::kSize ? "capacity" : "days";
}

void PrintPlan(const RotationPlan& plan) {
  Table table({">ID", "Ended", ">MiB", "Because of", "File"});
  std::size_t shown = 0;
  for (const PlannedRemoval& removal : plan.removals) {
    if (shown++ == kMostShown) break;
    table.AddRow({std::to_string(removal.event.GetID()),
                  LocalTime(removal.event.GetStopTime()),
                  InMiB(removal.event.GetSize() / kMiB),
                  WhyOf(removal.rule),
                  Printable(removal.event.GetPath())});
  }
  table.Print();
  if (plan.removals.size() > kMostShown)
    std::printf("... and %zu more\n", plan.removals.size() - kMostShown);
}

void PrintPlanJson(const RotationPlan& plan,
                   const Limits& limits,
                   std::optional<std::size_t> gone) {
  nlohmann::ordered_json removals = nlohmann::ordered_json::array();
  for (const PlannedRemoval& removal : plan.removals) {
    removals.push_back({{"id", removal.event.GetID()},
                        {"stop", removal.event.GetStopTime()},
                        {"bytes", removal.event.GetSize()},
                        {"because_of", WhyOf(removal.rule)},
                        {"path", removal.event.GetPath()}});
  }
  nlohmann::ordered_json json{{"capacity_mib", limits.size},
                              {"days", limits.days},
                              {"total_mib", plan.total},
                              {"removals", removals}};
  if (gone) json["removed"] = *gone;
  PrintJson(json);
}

// What there is and what the limits say of it, in a line or two.
void PrintReason(const Camera& camera, const Limits& limits, const RotationPlan& plan) {
  std::printf("Camera %d (%s) holds %s MiB",
              camera.GetId(),
              Printable(camera.GetName()).c_str(),
              InMiB(plan.total).c_str());
  if (limits.size > 0) std::printf(", its limit is %d MiB", limits.size);
  if (limits.days > 0 && plan.cutoff > 0)
    std::printf(
        limits.size > 0 ? ", and nothing from before %s" : "; it keeps nothing from before %s",
        LocalTime(plan.cutoff).c_str());
  std::printf(".\n");
}

int Run(Camera& camera, const Limits& limits) {
  BlockEndingSignals();
  WPRotate rotate(&camera);
  if (rotate.Start(limits.size, limits.days) != WP_ROTATE_OK)
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
std::size_t CountGone(const Camera& camera, const Limits& limits, const RotationPlan& plan) {
  RotationPlan after;
  if (!watchpost::PlanRotation(camera, limits.size, limits.days, std::time(nullptr), after))
    return 0;
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
                InMiB(SizeOf(plan)).c_str());
  } else {
    std::printf("Removed %zu recordings.\n", *gone);
  }
}

int Rotate(const std::string& which, bool dry_run, bool as_json) {
  std::optional<Camera> camera = FindCamera(which);
  if (!camera) return kFailed;
  const Limits limits = LimitsOf(*camera);
  if (limits.size <= 0 && limits.days <= 0) {
    return Failed("camera " + which + " has no limit; \"wpctl camera set " + which +
                  " --capacity MIB\" or \"--days N\" gives it one");
  }
  RotationPlan plan;
  if (!watchpost::PlanRotation(*camera, limits.size, limits.days, std::time(nullptr), plan))
    return Failed("the database could not be read; the system log says why");
  if (!as_json) PrintReason(*camera, limits, plan);
  if (dry_run && !as_json && !plan.removals.empty()) PrintPlan(plan);
  std::optional<std::size_t> gone;
  if (!dry_run) {
    if (!plan.removals.empty()) {
      if (const int status = Run(*camera, limits); status != kDone) return status;
    }
    gone = CountGone(*camera, limits, plan);
  }
  if (as_json) {
    PrintPlanJson(plan, limits, gone);
  } else {
    PrintOutcome(plan, gone);
  }
  if (!gone || *gone == plan.removals.size()) return kDone;
  return Failed(
      std::to_string(plan.removals.size() - *gone) +
      " recordings could not be removed, file and row; \"wpctl storage check\" shows them");
}

}  // namespace

void AddRotateCommand(CLI::App& storage_group, int& status) {
  CLI::App* verb = storage_group.add_subcommand(
      "rotate", "Remove what exceeds a camera's limits now instead of on the next full hour");
  const auto which = std::make_shared<std::string>();
  const auto dry_run = std::make_shared<bool>(false);
  const auto as_json = std::make_shared<bool>(false);
  verb->add_option("CAMERA", *which, "Id or name")->required();
  verb->add_flag("-n,--dry-run", *dry_run, "Only show what would go, and why");
  verb->add_flag("--json", *as_json, "For scripts");
  verb->footer(
      "Archived recordings, and one that is being written, never go.\n"
      "\nExamples:\n  wpctl storage rotate Porch --dry-run\n  wpctl storage rotate Porch");
  verb->callback(
      [&status, which, dry_run, as_json] { status = Rotate(*which, *dry_run, *as_json); });
}

}  // namespace wpctl
