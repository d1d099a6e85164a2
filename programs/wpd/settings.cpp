#include "settings.h"

#include <watchpost/platform/olibfile.h>
#include <watchpost/platform/olibszhash.h>
#include <watchpost/platform/rootedpath.h>

#include <charconv>
#include <cstring>

#include "log.h"

namespace wpd {
namespace {

void Read(const OLIBSZHASH* section, const char* key, long lowest, long highest, long& value) {
  const char* text = SzOLIBSzHashGetValue(section, key);
  if (text == nullptr) return;
  const char* text_end = text + std::strlen(text);
  long number = 0;
  const auto [end, error] = std::from_chars(text, text_end, number);
  if (error != std::errc() || end != text_end || number < lowest || number > highest) {
    return Log("[wpd] %s is %ld to %ld, not \"%s\": using %ld", key, lowest, highest, text, value);
  }
  value = number;
}

}  // namespace

Settings LoadSettings() {
  Settings settings;
  watchpost::OlibHashPtr section(PshOLIBSzHashAlloc(16));
  OLIBSZHASH* hash = section.get();
  if (hash == nullptr) return settings;
  if (OLIBFileGetSection(watchpost::RootedPath("/etc/orvainfo.conf").c_str(), "wpd", &hash) < 0)
    return settings;

  constexpr int kMiB = 20;
  constexpr int kKiB = 10;
  long row_interval = settings.row_interval.count();
  long sync_interval = settings.sync_interval.count();
  long cut_seconds = settings.cut_after.count();
  long cut_mebibytes = static_cast<long>(settings.cut_bytes >> kMiB);
  long frame_timeout = settings.frame_timeout.count();
  long largest_frame = settings.largest_frame >> kKiB;
  long ring = settings.ring_size >> kKiB;
  long before = settings.motion_before.count();
  long after = settings.motion_after.count();
  long history = static_cast<long>(settings.history_bytes >> kMiB);
  long reserve = static_cast<long>(settings.reserve_bytes >> kMiB);
  long floor = static_cast<long>(settings.floor_bytes >> kMiB);
  long mail_steady = settings.mail_steady.count();
  Read(hash, "floor_mebibytes", 1, 1048576, floor);
  Read(hash, "mail_steady_seconds", 1, 3600, mail_steady);
  Read(hash, "row_interval_seconds", 1, 60, row_interval);
  Read(hash, "sync_interval_seconds", 1, 60, sync_interval);
  Read(hash, "cut_seconds", 10, 86400, cut_seconds);
  Read(hash, "cut_mebibytes", 1, 1900, cut_mebibytes);
  Read(hash, "frame_timeout_seconds", 1, 300, frame_timeout);
  Read(hash, "largest_frame_kibibytes", 64, 65536, largest_frame);
  Read(hash, "motion_before_seconds", 0, 60, before);
  Read(hash, "motion_after_seconds", 1, 600, after);
  Read(hash, "motion_history_mebibytes", 1, 256, history);
  Read(hash, "ring_kibibytes", 0, 8192, ring);
  Read(hash, "reserve_mebibytes", 1, 65536, reserve);
  settings.row_interval = std::chrono::seconds(row_interval);
  settings.sync_interval = std::chrono::seconds(sync_interval);
  settings.cut_after = std::chrono::seconds(cut_seconds);
  settings.cut_bytes = static_cast<std::uint64_t>(cut_mebibytes) << kMiB;
  settings.frame_timeout = std::chrono::seconds(frame_timeout);
  settings.largest_frame = static_cast<std::uint32_t>(largest_frame) << kKiB;
  if (ring > 0 && ring < 64) {  // a frame gets a fifth of it at most
    Log("[wpd] ring_kibibytes is 0 or 64 to 8192, not %ld: using 64", ring);
    ring = 64;
  }
  settings.ring_size = static_cast<std::uint32_t>(ring) << kKiB;
  settings.motion_before = std::chrono::seconds(before);
  settings.motion_after = std::chrono::seconds(after);
  settings.history_bytes = static_cast<std::size_t>(history) << kMiB;
  settings.floor_bytes = static_cast<std::uint64_t>(floor) << kMiB;
  settings.mail_steady = std::chrono::seconds(mail_steady);
  settings.reserve_bytes = static_cast<std::uint64_t>(reserve) << kMiB;
  return settings;
}

}  // namespace wpd
