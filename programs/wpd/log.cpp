#include "log.h"

#include <syslog.h>

#include <array>
#include <cstdarg>
#include <cstdio>

namespace wpd {

void OpenLog(bool foreground) {
  openlog("wpd", LOG_PID | (foreground ? LOG_PERROR : 0), LOG_DAEMON);
}

void Log(const char* format, ...) {
  std::array<char, 1024> line;
  va_list arguments;
  va_start(arguments, format);
  (void)std::vsnprintf(line.data(), line.size(), format, arguments);
  va_end(arguments);
  for (char* c = line.data(); *c != '\0'; ++c) {
    if (static_cast<unsigned char>(*c) < ' ' || *c == 0x7F) *c = '?';
  }
  syslog(LOG_NOTICE, "%s", line.data());
}

bool Spell::Begin(const std::string& message) {
  const std::lock_guard lock(mutex_);
  well_ = false;
  if (lasting_) return false;
  lasting_ = true;
  Log("%s", message.c_str());
  return true;
}

void Spell::End() {
  const std::lock_guard lock(mutex_);
  if (!lasting_) return;
  const auto now = std::chrono::steady_clock::now();
  if (!well_) well_since_ = now;
  well_ = true;
  if (now - well_since_ < steady_) return;
  lasting_ = false;
  Log("%s", over_.c_str());
}

}  // namespace wpd
