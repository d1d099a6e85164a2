#include "support/tempdir.h"

#include <stdlib.h>

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

ScopedEnv::ScopedEnv(const char* name, const std::string& value) : name_(name) {
  if (const char* before = getenv(name)) before_ = before;
  setenv(name, value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
  if (before_) {
    setenv(name_, before_->c_str(), 1);
  } else {
    unsetenv(name_);
  }
}

}  // namespace watchpost::test
