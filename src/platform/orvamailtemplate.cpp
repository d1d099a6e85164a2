#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "base/paths.h"
#include "platform/mailtemplates_internal.h"
#include "platform/orvamail.h"

namespace {

constexpr std::string_view kEnglish = "enu";
constexpr std::string_view kSubject = "Subject:";
constexpr std::streamsize kLargestTemplate = 64 * 1024;

struct Template {
  std::string subject;
  std::string body;
};

// Both are parts of a path: a configuration must not lead out of the folder.
bool IsName(std::string_view text) {
  constexpr std::string_view kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  return !text.empty() && text.find_first_not_of(kAllowed) == std::string_view::npos;
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && (text.back() == '\r' || text.back() == ' ')) text.remove_suffix(1);
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  return text;
}

std::optional<Template> Parse(std::string_view text) {
  if (!text.starts_with(kSubject)) return std::nullopt;
  const std::size_t end = std::min(text.find('\n'), text.size());
  Template parsed;
  parsed.subject = Trim(text.substr(kSubject.size(), end - kSubject.size()));
  text.remove_prefix(std::min(end + 1, text.size()));
  if (text.starts_with("\r")) text.remove_prefix(1);
  if (text.starts_with("\n")) text.remove_prefix(1);
  parsed.body = text;
  return parsed;
}

std::optional<Template> ReadTemplateFile(std::string_view language, std::string_view tag) {
  if (!IsName(language)) return std::nullopt;
  const std::string path = watchpost::RootedPath("/usr/orva/share/mail/") + std::string(language) +
                           "/" + std::string(tag);
  std::ifstream file(path, std::ios::binary);
  std::string text(kLargestTemplate, '\0');
  file.read(text.data(), kLargestTemplate);
  text.resize(static_cast<std::size_t>(file.gcount()));
  return Parse(text);
}

std::optional<Template> FindTemplate(std::string_view language, std::string_view tag) {
  if (!IsName(tag)) return std::nullopt;
  if (std::optional<Template> found = ReadTemplateFile(language, tag)) return found;
  if (std::optional<Template> found = ReadTemplateFile(kEnglish, tag)) return found;
  for (const auto& [name, text] : watchpost::kEnglishTemplates) {
    if (name == tag) return Parse(text);
  }
  return std::nullopt;
}

// In one pass: a value that looks like a placeholder, such as a camera's name, stays what it is.
std::string Fill(std::string_view text, const OLIBSZHASH* values) {
  std::string filled;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text[at] == '%' ? text.find('%', at + 1) : std::string_view::npos;
    const char* value =
        end == std::string_view::npos
            ? nullptr
            : SzOLIBSzHashGetValue(values, std::string(text.substr(at, end + 1 - at)).c_str());
    if (value == nullptr) {
      filled += text[at++];
    } else {
      filled += value;
      at = end + 1;
    }
  }
  return filled;
}

// No character of UTF-8 is torn.
void Copy(const std::string& text, char* buffer, int size) {
  std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
  const auto continues = [&](std::size_t i) {
    return (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
  };
  if (length < text.size()) {
    while (length > 0 && continues(length)) --length;
  }
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
}

}  // namespace

int ORVAMailReadByTagAndConvert(const char* language,
                                const char* tag,
                                const OLIBSZHASH* values,
                                char* subject,
                                int subject_size,
                                char* body,
                                int body_size) noexcept {
  if (language == nullptr || tag == nullptr || subject == nullptr || body == nullptr) return -1;
  if (subject_size < 1 || body_size < 1) return -1;
  const std::optional<Template> found = FindTemplate(language, tag);
  if (!found) return -1;
  std::string line = Fill(found->subject, values);
  std::replace_if(
      line.begin(), line.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  Copy(line, subject, subject_size);
  Copy(Fill(found->body, values), body, body_size);
  return 0;
}
