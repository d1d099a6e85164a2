#include "event/eventlookup.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <filesystem>

#include "foundation/dbrow_internal.h"
#include "foundation/utils.h"
#include "foundation/wpdb.h"

namespace watchpost {

Event FindEvent(int camera_id, const std::string& path) noexcept {
  const ResultPtr result = Query(std::string("SELECT * FROM ") + gszTableEvent +
                                 " WHERE camera_id = " + itos(camera_id) + " AND path = '" +
                                 WPDBEscapeString(path) + "' ORDER BY id DESC LIMIT 1");
  Event event;
  RowCursor rows(result.get());
  if (rows.Next()) (void)event.PutRowIntoObj(result.get(), rows.Index());  // there is a result
  return event;
}

bool IsInFolder(const std::string& name) noexcept {
  const std::filesystem::path path(name);
  if (name.empty() || name.find('\0') != std::string::npos || path.is_absolute()) return false;
  return std::none_of(path.begin(), path.end(), [](const auto& part) { return part == ".."; });
}

std::optional<long> StartOfRecording(const std::string& name) noexcept {
  constexpr std::size_t kDay = 8;
  constexpr std::size_t kTime = 6;
  constexpr std::size_t kStamp = kDay + 1 + kTime;
  const auto is_stamp = [&](std::size_t at) {
    for (std::size_t i = 0; i < kStamp; ++i) {
      const auto c = static_cast<unsigned char>(name[at + i]);
      if (i == kDay ? c != '-' : std::isdigit(c) == 0) return false;
    }
    return true;
  };
  const std::size_t end = name.rfind(".avi");
  if (end == std::string::npos || end < kStamp) return std::nullopt;
  // From the back: a prefix may look like anything, and "-N" may follow.
  for (std::size_t at = end - kStamp + 1; at-- > 0;) {
    if (!is_stamp(at)) continue;
    const auto number = [&](std::size_t from, std::size_t length) {
      return std::stoi(name.substr(at + from, length));
    };
    tm local{};
    local.tm_year = number(0, 4) - 1900;
    local.tm_mon = number(4, 2) - 1;
    local.tm_mday = number(6, 2);
    local.tm_hour = number(9, 2);
    local.tm_min = number(11, 2);
    local.tm_sec = number(13, 2);
    local.tm_isdst = -1;
    const time_t seconds = std::mktime(&local);
    if (seconds == -1) return std::nullopt;
    return seconds;
  }
  return std::nullopt;
}

}  // namespace watchpost
