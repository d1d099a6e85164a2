#include "platform/orvalog.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <nlohmann/json.hpp>
#include <string>

#include "base/paths.h"
#include "base/uniquefd.h"

namespace {

using Arguments = std::array<std::string, 4>;

struct Message {
  unsigned int id;
  const char* text;  // "%1" to "%4" stand for the arguments
};

constexpr std::array kMessages{
    Message{0x11100800, "A mail could not be sent: %1"},
    Message{0x13300012,
            "Removed %2 recordings of camera %1 that were older than its limit of days."},
    Message{0x13300013,
            "Removed the %2 oldest recordings of camera %1 because its capacity was used up."},
    Message{0x13300014,
            "Removed the %2 oldest recordings of camera %1 because its disk was nearly full."},
    Message{0x13300023, "Recording %1 was deleted."},
};

std::string TextOf(unsigned int id, const Arguments& arguments) {
  for (const Message& message : kMessages) {
    if (message.id != id) continue;
    std::string text;
    for (const char* p = message.text; *p != '\0'; ++p) {
      if (*p == '%' && p[1] >= '1' && p[1] <= '4') {
        text += arguments[static_cast<std::size_t>(*++p - '1')];
      } else {
        text += *p;
      }
    }
    return text;
  }
  return "";
}

std::string LocalTime() {
  const time_t now = time(nullptr);
  tm local{};
  std::array<char, 40> text{};
  if (localtime_r(&now, &local) == nullptr) return "";
  (void)strftime(
      text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local);  // "" when it does not fit
  return text.data();
}

int AppendLine(const std::string& line) {
  const std::string folder = watchpost::RootedPath("/var/log/orva");
  for (std::size_t slash = folder.find('/', 1); slash != std::string::npos;
       slash = folder.find('/', slash + 1)) {
    (void)mkdir(folder.substr(0, slash).c_str(),
                0755);  // a missing folder shows when the file is opened
  }
  (void)mkdir(folder.c_str(), 0755);
  const std::string path = folder + "/event.log";
  const watchpost::UniqueFd fd(
      open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0644));
  if (!fd.IsValid()) return -1;
  // One write for the whole line: lines of several processes never mix.
  return write(fd.Get(), line.data(), line.size()) == static_cast<ssize_t>(line.size()) ? 0 : -1;
}

}  // namespace

int ORVALogSet1(int log,
                int level,
                unsigned int message,
                const char* a1,
                const char* a2,
                const char* a3,
                const char* a4) noexcept {
  Arguments arguments;
  const std::array given{a1, a2, a3, a4};
  for (std::size_t i = 0; i < given.size(); ++i) arguments[i] = given[i] == nullptr ? "" : given[i];

  nlohmann::ordered_json entry;
  entry["time"] = LocalTime();
  entry["program"] = program_invocation_short_name;
  entry["log"] = log;
  entry["level"] = level;
  entry["message"] = message;
  entry["arguments"] = arguments;
  entry["text"] = TextOf(message, arguments);
  // Names and paths are byte strings; what is not UTF-8 is shown as the replacement character.
  const std::string line = entry.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  syslog(LOG_INFO, "%s", line.c_str());
  return AppendLine(line + "\n");
}
