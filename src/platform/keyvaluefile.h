// A key-value file that is read once.
#pragma once

#include <memory>
#include <string>

#include "base/export.h"
#include "platform/olibszhash.h"

namespace watchpost {

/// What platform/olibfile.h reads with each call, for whoever asks many times.
class WATCHPOST_API KeyValueFile {
 public:
  /// A null path, or a file that cannot be read, is a file without anything.
  explicit KeyValueFile(const char* path) noexcept;
  ~KeyValueFile();
  KeyValueFile(const KeyValueFile&) = delete;
  KeyValueFile& operator=(const KeyValueFile&) = delete;

  /// As OLIBFileGetSection.
  int GetSection(const char* section, OLIBSZHASH** hash) const noexcept;

  /// The value of a key that stands before the first section; null without one. The file owns it.
  const char* GetValue(const char* key) const noexcept;

 private:
  struct Contents;
  std::unique_ptr<Contents> contents_;  // null for a file without anything
};

}  // namespace watchpost
