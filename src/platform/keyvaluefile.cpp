#include "platform/keyvaluefile.h"

#define SI_NO_CONVERSION  // values are byte strings
#define SI_IMPLEMENTATION
#include <SimpleIni.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include "base/uniquefd.h"

namespace {

constexpr off_t kMaxFileSize = 1024 * 1024;

std::optional<std::string> ReadFile(const char* path) {
  if (path == nullptr) return std::nullopt;
  // Not waiting at open keeps a FIFO of that name from holding the caller up.
  const watchpost::UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!fd.IsValid() || fstat(fd.Get(), &status) != 0 || !S_ISREG(status.st_mode))
    return std::nullopt;
  if (status.st_size > kMaxFileSize) return std::nullopt;
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t held = 0;
  while (held < text.size()) {
    const ssize_t n = read(fd.Get(), text.data() + held, text.size() - held);
    if (n < 0) return std::nullopt;
    if (n == 0) break;
    held += static_cast<std::size_t>(n);
  }
  text.resize(held);
  return text;
}

}  // namespace

namespace watchpost {

struct KeyValueFile::Contents {
  CSimpleIniCaseA file;
};

KeyValueFile::KeyValueFile(const char* path) noexcept {
  const std::optional<std::string> text = ReadFile(path);
  if (!text) return;
  auto contents = std::make_unique<Contents>();
  contents->file.SetQuotes(true);
  if (contents->file.LoadData(*text) == SI_OK) contents_ = std::move(contents);
}

KeyValueFile::~KeyValueFile() = default;

int KeyValueFile::GetSection(const char* section, OLIBSZHASH** hash) const noexcept {
  if (section == nullptr || hash == nullptr || *hash == nullptr || contents_ == nullptr) return -1;
  const CSimpleIniCaseA::TKeyVal* keys = contents_->file.GetSection(section);
  if (keys == nullptr) return -1;
  for (const auto& [key, value] : *keys) (void)OLIBSzHashSetValue(hash, key.pItem, value);
  return static_cast<int>(keys->size());
}

const char* KeyValueFile::GetValue(const char* key) const noexcept {
  return key == nullptr || contents_ == nullptr ? nullptr : contents_->file.GetValue("", key);
}

}  // namespace watchpost
