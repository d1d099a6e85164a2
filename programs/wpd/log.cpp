#include "log.h"

#include <syslog.h>

#include <cstdarg>

namespace wpd {

void OpenLog(bool foreground) {
  openlog("wpd", LOG_PID | (foreground ? LOG_PERROR : 0), LOG_DAEMON);
}

void Log(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(LOG_NOTICE, format, arguments);
  va_end(arguments);
}

bool Spell::Begin(const std::string& message) {
  const std::lock_guard lock(mutex_);
  if (lasting_) return false;
  lasting_ = true;
  Log("%s", message.c_str());
  return true;
}

void Spell::End() {
  const std::lock_guard lock(mutex_);
  if (!lasting_) return;
  lasting_ = false;
  Log("%s", over_.c_str());
}

}  // namespace wpd
