#include "log.h"

#include <syslog.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace wpd {
namespace {

using watchpost::MutexLock;

watchpost::Mutex last_trouble_mutex;
Trouble last_trouble WATCHPOST_GUARDED_BY(last_trouble_mutex);

}  // namespace

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

bool SpellState::Begin() {
  const MutexLock lock(mutex_);
  well_ = false;
  return !std::exchange(lasting_, true);
}

bool SpellState::End() {
  const MutexLock lock(mutex_);
  if (!lasting_) return false;
  const auto now = std::chrono::steady_clock::now();
  if (!well_) well_since_ = now;
  well_ = true;
  lasting_ = now - well_since_ < steady_;
  return !lasting_;
}

bool Spell::Begin(const std::string& message) {
  if (!state_.Begin()) return false;
  Log("%s", message.c_str());
  const MutexLock lock(last_trouble_mutex);
  last_trouble = {message, std::time(nullptr)};
  return true;
}

void Spell::End() {
  if (state_.End()) Log("%s", over_.c_str());
}

Trouble LastTrouble() {
  const MutexLock lock(last_trouble_mutex);
  return last_trouble;
}

}  // namespace wpd
