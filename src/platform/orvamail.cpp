#include "platform/orvamail.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "base/paths.h"
#include "platform/olibfile.h"

namespace {

constexpr int kSmtpPort = 25;
constexpr int kTimeout = 60;

// The section "mail"; null when there is none.
watchpost::OlibHashPtr ReadSection() {
  watchpost::OlibHashPtr values(PshOLIBSzHashAlloc(16));
  OLIBSZHASH* hash = values.get();
  const std::string path = watchpost::ConfigurationFile();
  if (hash == nullptr || OLIBFileGetSection(path.c_str(), "mail", &hash) < 0) return nullptr;
  return values;
}

std::string_view TextOf(const OLIBSZHASH* section, const char* key) {
  const char* text = SzOLIBSzHashGetValue(section, key);
  return text == nullptr ? std::string_view() : text;
}

char* CopyOf(const OLIBSZHASH* section, const char* key) {
  return strdup(std::string(TextOf(section, key)).c_str());
}

bool IsOn(const OLIBSZHASH* section, const char* key, bool otherwise) {
  const std::string_view text = TextOf(section, key);
  if (text.empty()) return otherwise;
  return text == "yes" || text == "true" || text == "on" || text == "1";
}

int PortOf(const OLIBSZHASH* section) {
  const std::string_view text = TextOf(section, "port");
  int port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  const bool valid = error == std::errc() && end == text.data() + text.size();
  return valid && port > 0 && port < 65536 ? port : kSmtpPort;
}

char* CopyOf(const char* text) {
  return text == nullptr ? nullptr : strdup(text);
}

std::string HostName() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return "localhost";
  return name.data();
}

bool IsAddress(std::string_view text) {
  const std::size_t at = text.find('@');
  return at != std::string_view::npos && at > 0 && at + 1 < text.size();
}

}  // namespace

int ORVAMailGet(_tag_ORVA_MAIL_* mail) noexcept {
  const watchpost::OlibHashPtr section = ReadSection();
  if (mail == nullptr || section == nullptr) return -1;
  mail->server = CopyOf(section.get(), "server");
  mail->port = PortOf(section.get());
  mail->need_auth = IsOn(section.get(), "auth", false);
  mail->user_name = CopyOf(section.get(), "user");
  mail->password = CopyOf(section.get(), "password");
  mail->ssl = IsOn(section.get(), "ssl", false);
  mail->send_test_mail = false;
  mail->recipient = CopyOf(section.get(), "email");
  mail->recipient2 = CopyOf(section.get(), "email2");
  return 0;
}

void ORVAMailFree(_tag_ORVA_MAIL_* mail) noexcept {
  if (mail == nullptr) return;
  for (char* text :
       {mail->server, mail->user_name, mail->password, mail->recipient, mail->recipient2}) {
    std::free(text);
  }
  *mail = {};
}

int ORVAMailFillSMTPStruct(ORVASMTP* smtp,
                           const _tag_ORVA_MAIL_* mail,
                           const char* sender_name,
                           int /*flags*/) noexcept {
  if (smtp == nullptr || mail == nullptr || sender_name == nullptr) return -1;
  const watchpost::OlibHashPtr section = ReadSection();
  const bool has_address = mail->user_name != nullptr && IsAddress(mail->user_name);
  smtp->server = CopyOf(mail->server);
  smtp->port = mail->port;
  smtp->need_auth = mail->need_auth;
  smtp->user_name = CopyOf(mail->user_name);
  smtp->password = CopyOf(mail->password);
  smtp->ssl = mail->ssl;
  smtp->verify = IsOn(section.get(), "tls_verify", true);
  smtp->ca_file = CopyOf(section.get(), "tls_ca_file");
  smtp->from_name = strdup(sender_name);
  smtp->from = has_address ? strdup(mail->user_name) : strdup(("watchpost@" + HostName()).c_str());
  smtp->to = CopyOf(mail->recipient);
  smtp->to2 = CopyOf(mail->recipient2);
  smtp->timeout = kTimeout;
  return 0;
}
