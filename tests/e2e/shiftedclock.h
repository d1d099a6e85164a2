// A wall clock of a program's own, which the test sets while it runs; the steady clock stays.
#pragma once

#include "support/test.h"

namespace watchpost::test {

class ShiftedClock {
 public:
  /// Keeps its setting in this file.
  explicit ShiftedClock(std::string file) : file_(std::move(file)) { Set(0); }

  /// By how many seconds it is ahead of the true one.
  void Set(int ahead) const { WriteFile(file_, (ahead < 0 ? "" : "+") + std::to_string(ahead)); }

  /// Programs that are started while this lives have the clock.
  struct Scope {
    explicit Scope(const ShiftedClock& clock) : file("FAKETIME_TIMESTAMP_FILE", clock.file_) {}
    ScopedEnv file;
    ScopedEnv preload{"LD_PRELOAD", "/usr/$LIB/faketime/libfaketimeMT.so.1"};
    ScopedEnv fresh{"FAKETIME_NO_CACHE", "1"};
    ScopedEnv steady{"FAKETIME_DONT_FAKE_MONOTONIC", "1"};
    ScopedEnv sanitizer{"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"};
  };

 private:
  std::string file_;
};

}  // namespace watchpost::test
