// The appliance's SMTP library, on libcurl.
#include "platform/orvasmtp.h"

#include <curl/curl.h>
#include <openssl/evp.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "base/export.h"
#include "message.h"

namespace {

constexpr int kSubmissionPort = 587;
constexpr int kRelayPort = 25;
constexpr int kLongestConnect = 15;

struct CurlDeleter {
  void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using CurlPtr = std::unique_ptr<CURL, CurlDeleter>;
using UrlPtr = std::unique_ptr<CURLU, CurlDeleter>;
using ListPtr = std::unique_ptr<curl_slist, CurlDeleter>;

bool IsEmpty(const char* text) {
  return text == nullptr || *text == '\0';
}

// What is left of the message.
struct Source {
  const char* data;
  std::size_t left;
};

std::size_t Read(char* buffer, std::size_t size, std::size_t count, void* context) {
  auto* source = static_cast<Source*>(context);
  const std::size_t n = std::min(size * count, source->left);
  std::memcpy(buffer, source->data, n);
  source->data += n;
  source->left -= n;
  return n;
}

// Keeps the server's last line: it says why.
int KeepAnswer(CURL* /*curl*/, curl_infotype type, char* data, std::size_t size, void* context) {
  if (type != CURLINFO_HEADER_IN) return 0;
  std::string line(data, size);
  const auto is_control = [](unsigned char c) { return c < ' ' || c >= 0x7F; };
  std::replace_if(line.begin(), line.end(), is_control, ' ');
  line.erase(line.find_last_not_of(' ') + 1);
  if (!line.empty()) *static_cast<std::string*>(context) = line.substr(0, 300);
  return 0;
}

bool SetServer(CURL* curl, const ORVASMTP& smtp, bool tls_at_once) {
  const UrlPtr url(curl_url());
  const std::string port = std::to_string(smtp.port);
  if (url == nullptr ||
      curl_url_set(url.get(), CURLUPART_SCHEME, tls_at_once ? "smtps" : "smtp", 0) != CURLUE_OK ||
      curl_url_set(url.get(), CURLUPART_HOST, smtp.server, 0) != CURLUE_OK ||
      curl_url_set(url.get(), CURLUPART_PORT, port.c_str(), 0) != CURLUE_OK) {
    return false;
  }
  char* text = nullptr;
  if (curl_url_get(url.get(), CURLUPART_URL, &text, 0) != CURLUE_OK) return false;
  (void)curl_easy_setopt(curl, CURLOPT_URL, text);
  curl_free(text);
  return true;
}

void SetSecurity(CURL* curl, const ORVASMTP& smtp) {
  (void)curl_easy_setopt(curl, CURLOPT_USE_SSL, smtp.ssl ? CURLUSESSL_ALL : CURLUSESSL_NONE);
  (void)curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, smtp.verify ? 1L : 0L);
  (void)curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, smtp.verify ? 2L : 0L);
  if (!IsEmpty(smtp.ca_file)) (void)curl_easy_setopt(curl, CURLOPT_CAINFO, smtp.ca_file);
  if (!smtp.need_auth) return;
  (void)curl_easy_setopt(curl, CURLOPT_USERNAME, smtp.user_name == nullptr ? "" : smtp.user_name);
  (void)curl_easy_setopt(curl, CURLOPT_PASSWORD, smtp.password == nullptr ? "" : smtp.password);
}

void SetLimits(CURL* curl, long limit) {
  (void)curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  (void)curl_easy_setopt(curl, CURLOPT_TIMEOUT, limit);
  (void)curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, std::min<long>(limit, kLongestConnect));
  // The environment of whoever sends has no say in where a mail goes.
  (void)curl_easy_setopt(curl, CURLOPT_PROXY, "");
  (void)curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "smtp,smtps");
}

// One attempt. `answer` is the server's last line.
CURLcode Send(const ORVASMTP& smtp, bool tls_at_once, long limit, std::string& answer) {
  const CurlPtr handle(curl_easy_init());
  CURL* curl = handle.get();
  if (curl == nullptr) return CURLE_OUT_OF_MEMORY;
  if (!SetServer(curl, smtp, tls_at_once)) return CURLE_URL_MALFORMAT;
  SetSecurity(curl, smtp);
  SetLimits(curl, limit);
  ListPtr recipients(curl_slist_append(nullptr, smtp.to));
  if (!IsEmpty(smtp.to2)) (void)curl_slist_append(recipients.get(), smtp.to2);
  (void)curl_easy_setopt(curl, CURLOPT_MAIL_FROM, smtp.from);
  (void)curl_easy_setopt(curl, CURLOPT_MAIL_RCPT, recipients.get());
  // An address that the server does not know keeps the mail from nobody else.
  (void)curl_easy_setopt(curl, CURLOPT_MAIL_RCPT_ALLLOWFAILS, 1L);
  const std::string message = watchpost::ComposeMessage(smtp);
  Source source{message.data(), message.size()};
  (void)curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
  (void)curl_easy_setopt(curl, CURLOPT_READFUNCTION, Read);
  (void)curl_easy_setopt(curl, CURLOPT_READDATA, &source);
  (void)curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
  (void)curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, KeepAnswer);
  (void)curl_easy_setopt(curl, CURLOPT_DEBUGDATA, &answer);
  return curl_easy_perform(curl);
}

// The settings say only that there must be TLS. The relay and submission ports speak it by
// STARTTLS; any other port is taken for one that speaks it at once, until it turns out not to.
CURLcode Deliver(const ORVASMTP& smtp, std::string& answer) {
  const bool at_once = smtp.ssl && smtp.port != kRelayPort && smtp.port != kSubmissionPort;
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::seconds(std::max(smtp.timeout, 1));
  const CURLcode result = Send(smtp, at_once, std::max(smtp.timeout, 1), answer);
  if (!at_once || result != CURLE_SSL_CONNECT_ERROR) return result;
  const auto left =
      std::chrono::ceil<std::chrono::seconds>(deadline - std::chrono::steady_clock::now());
  return Send(smtp, false, std::max(static_cast<long>(left.count()), 1L), answer);
}

int Fail(ORVASMTPErrorCallBack* callback, const std::string& message) {
  if (callback != nullptr) callback(message.c_str());
  return -1;
}

}  // namespace

extern "C" {

WATCHPOST_API ORVASMTPSendEmailFunction ORVASMTPSendEmail;
WATCHPOST_API ORVASMTPFreeORVASMTPFunction ORVASMTPFreeORVASMTP;
WATCHPOST_API SzBase64EncodeFunction SzBase64Encode;

int ORVASMTPSendEmail(ORVASMTP* smtp, ORVASMTPErrorCallBack* callback) {
  if (smtp == nullptr || IsEmpty(smtp->server) || smtp->port < 1 || smtp->port > 65535)
    return Fail(callback, "the mail server's name or port is missing");
  for (const char* address : {smtp->from, smtp->to}) {
    if (!watchpost::IsMailAddress(address))
      return Fail(callback, std::string("not an address: ") + (address == nullptr ? "" : address));
  }
  if (!IsEmpty(smtp->to2) && !watchpost::IsMailAddress(smtp->to2))
    return Fail(callback, std::string("not an address: ") + smtp->to2);
  std::string answer;
  const CURLcode result = Deliver(*smtp, answer);
  if (result == CURLE_OK) return 0;
  const std::string what = curl_easy_strerror(result);
  return Fail(callback, answer.empty() ? what : what + ": " + answer);
}

void ORVASMTPFreeORVASMTP(ORVASMTP* smtp) {
  if (smtp != nullptr) watchpost::ReleaseRequest(*smtp);
}

char* SzBase64Encode(const char* text, int length) {
  if (text == nullptr || length < 0 || length > 1 << 28) return nullptr;
  const std::size_t size = (static_cast<std::size_t>(length) + 2) / 3 * 4 + 1;
  auto* encoded = static_cast<char*>(std::malloc(size));
  if (encoded == nullptr) return nullptr;
  *encoded = '\0';
  (void)EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded),
                        reinterpret_cast<const unsigned char*>(text),
                        length);
  return encoded;
}

}  // extern "C"
