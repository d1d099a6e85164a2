// What this process sends to the system log, read from the copy that syslog(3) makes on standard
// error.
#pragma once

#include <syslog.h>
#include <unistd.h>

#include "support/test.h"

namespace watchpost::test {

class SyslogCapture {
 public:
  SyslogCapture() : saved_(dup(STDERR_FILENO)) {
    (void)!freopen((dir_ / "log").c_str(), "w", stderr);
    openlog("test", LOG_PERROR, LOG_USER);
  }
  ~SyslogCapture() {
    closelog();
    (void)dup2(saved_, STDERR_FILENO);
    (void)close(saved_);
  }
  SyslogCapture(const SyslogCapture&) = delete;
  SyslogCapture& operator=(const SyslogCapture&) = delete;

  [[nodiscard]] std::string Text() const { return ReadFile(dir_ / "log"); }
  [[nodiscard]] long Lines() const {
    const std::string text = Text();
    return std::count(text.begin(), text.end(), '\n');
  }
  /// Expects that a line has been written that has `text` in it.
  void Expect(const std::string& text) const { EXPECT_THAT(Text(), HasSubstr(text)); }

 private:
  TempDir dir_;
  int saved_;
};

}  // namespace watchpost::test
