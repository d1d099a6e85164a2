#include "service/daemonsettings.h"

#include <array>
#include <charconv>
#include <string_view>
#include <variant>

#include "base/paths.h"
#include "platform/olibfile.h"
#include "platform/olibszhash.h"

namespace watchpost {
namespace {

using std::chrono::seconds;

constexpr int kKiB = 10;
constexpr int kMiB = 20;

struct Setting {
  const char* key;
  long lowest;   // in the key's unit, inclusive; 0 is valid besides where `or_none` says so
  long highest;  // inclusive
  bool or_none;
  int shift;  // the key's unit is 2^shift bytes
  std::variant<seconds DaemonSettings::*, std::uint64_t DaemonSettings::*, bool DaemonSettings::*>
      member;
};

constexpr std::array kSettings{
    Setting{"row_interval_seconds", 1, 60, false, 0, &DaemonSettings::row_interval},
    Setting{"sync_interval_seconds", 1, 60, false, 0, &DaemonSettings::sync_interval},
    Setting{"cut_seconds", 10, 86400, false, 0, &DaemonSettings::cut_after},
    Setting{"cut_mebibytes", 1, 1900, false, kMiB, &DaemonSettings::cut_bytes},
    Setting{"frame_timeout_seconds", 1, 300, false, 0, &DaemonSettings::frame_timeout},
    Setting{"largest_frame_kibibytes", 64, 65536, false, kKiB, &DaemonSettings::largest_frame},
    Setting{"ring_kibibytes", 64, 8192, true, kKiB, &DaemonSettings::ring_size},
    Setting{"motion_before_seconds", 0, 60, false, 0, &DaemonSettings::motion_before},
    Setting{"motion_after_seconds", 1, 600, false, 0, &DaemonSettings::motion_after},
    Setting{"motion_record_unjudged", 0, 1, false, 0, &DaemonSettings::record_unjudged},
    Setting{"motion_history_mebibytes", 1, 256, false, kMiB, &DaemonSettings::history_bytes},
    Setting{"floor_mebibytes", 1, 1048576, false, kMiB, &DaemonSettings::floor_bytes},
    Setting{"reserve_mebibytes", 1, 65536, false, kMiB, &DaemonSettings::reserve_bytes},
    Setting{"mail_steady_seconds", 1, 3600, false, 0, &DaemonSettings::mail_steady},
};

// False when the text is no number that the setting takes.
bool Read(const Setting& setting, std::string_view text, DaemonSettings& settings) {
  long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool none = setting.or_none && number == 0;
  if (error != std::errc() || end != text.data() + text.size() ||
      (!none && (number < setting.lowest || number > setting.highest))) {
    return false;
  }
  if (const auto* duration = std::get_if<seconds DaemonSettings::*>(&setting.member))
    settings.*(*duration) = seconds(number);
  else if (const auto* flag = std::get_if<bool DaemonSettings::*>(&setting.member))
    settings.*(*flag) = number != 0;
  else
    settings.*std::get<std::uint64_t DaemonSettings::*>(setting.member) =
        static_cast<std::uint64_t>(number) << setting.shift;
  return true;
}

}  // namespace

DaemonSettings LoadDaemonSettings(std::vector<std::string>& problems) {
  DaemonSettings settings;
  const OlibHashPtr section(PshOLIBSzHashAlloc(16));
  OLIBSZHASH* hash = section.get();
  if (hash == nullptr || OLIBFileGetSection(ConfigurationFile().c_str(), "wpd", &hash) < 0)
    return settings;
  for (const Setting& setting : kSettings) {
    const char* text = SzOLIBSzHashGetValue(hash, setting.key);
    if (text == nullptr || Read(setting, text, settings)) continue;
    problems.push_back(std::string("[wpd] ") + setting.key + " is " +
                       (setting.or_none ? "0 or " : "") + std::to_string(setting.lowest) + " to " +
                       std::to_string(setting.highest) + ", not \"" + text +
                       "\": using the default");
  }
  return settings;
}

}  // namespace watchpost
