// Weekly schedules as people write them: "mon-fri 8-18 motion".
#pragma once

#include <watchpost/camera/camera.h>

#include <string>
#include <vector>

namespace wpctl {

/// Changes the hours that a rule names. A rule is DAYS [HOURS] MODE: days "all", "mon", "mon-fri"
/// or "sat,sun"; hours "8-18" (from 8:00 to 18:00), "22-6" (to 6:00 of the next day), "7" (7:00 to
/// 8:00), all day without them; several separated by commas; mode "none", "continuous" or "motion".
/// False, with `error` saying what is right, when it is no rule; nothing is changed then.
bool ApplyScheduleRule(const std::string& rule, Camera& camera, std::string& error);

/// The schedule as rules, one for each run of days and hours that record; empty when nothing is
/// recorded.
std::vector<std::string> DescribeSchedule(const Camera& camera);

/// The same in one line; "nothing" when nothing is recorded.
std::string ScheduleText(const Camera& camera);

}  // namespace wpctl
