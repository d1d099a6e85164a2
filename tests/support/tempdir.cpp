#include "support/tempdir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/file.h>
#include <time.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace watchpost::test {

TempDir::TempDir() {
  std::string pattern = std::filesystem::temp_directory_path() / "watchpost-XXXXXX";
  path_ = mkdtemp(pattern.data());
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, const std::string& text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

UniqueFd LockFile(const std::string& path) {
  UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(flock(fd.Get(), LOCK_EX), 0) << path;
  return fd;
}

ScopedEnv::ScopedEnv(const char* name, const std::string& value) : name_(name) {
  if (const char* before = getenv(name)) before_ = before;
  setenv(name, value.c_str(), 1);
  tzset();
}

ScopedEnv::~ScopedEnv() {
  if (before_) {
    setenv(name_, before_->c_str(), 1);
  } else {
    unsetenv(name_);
  }
  tzset();
}

}  // namespace watchpost::test
