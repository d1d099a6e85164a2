#include "net/mimestream_internal.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "base/decimal_internal.h"
#include "net/headline_internal.h"

using watchpost::StartsWith;

namespace {

constexpr int kTimeout = 5;         // seconds before each read and write
constexpr int kLongestSearch = 16;  // lines
constexpr char kFieldEnd[] = " :";

}  // namespace

MF_STATUS __tag_MIME_PRIV::Connector() noexcept {
  if (connected) return MF_OK;
  client.reset();
  length_known = false;
  content_type_length = 0;
  content_length = 0;
  boundary_length = 0;
  MF_STATUS status = RequestStream();
  if (status == MF_OK) status = CheckMime();
  chunked = client != nullptr && client->IsChunked();
  if (status == MF_OK && SearchForBoundry() != STEP_OK) status = MF_ERR_BOUNDARY;
  connected = status == MF_OK;
  return status;
}

MF_STATUS __tag_MIME_PRIV::StatusOf(StepResult step, MF_STATUS malformed) noexcept {
  if (step == STEP_OK) return MF_OK;
  return step == STEP_MALFORMED ? malformed : MF_ERR_CONNECT;
}

MF_STATUS __tag_MIME_PRIV::NextPart() noexcept {
  MF_STATUS status = StatusOf(GetBodyInfo(), MF_ERR_PART_TYPE);
  if (status == MF_OK) status = StatusOf(GetContentLen(), MF_ERR_PART_LENGTH);
  if (status == MF_OK) status = StatusOf(GetBodyContent(), MF_ERR_BOUNDARY);
  return status;
}

MF_STATUS __tag_MIME_PRIV::FetchBody(unsigned char* buf) noexcept {
  if (!length_known) {
    std::memcpy(buf, data.data(), content_length);
    return MF_OK;
  }
  if (!ReadExactly(buf, content_length)) return MF_ERR_CONNECT;
  return StatusOf(SearchForBoundry(), MF_ERR_BOUNDARY);
}

bool __tag_MIME_PRIV::SkipBody() noexcept {
  std::uint32_t left = content_length;
  while (left > 0) {
    const std::uint32_t piece = std::min(left, static_cast<std::uint32_t>(data.size()));
    if (!ReadExactly(data.data(), piece)) return false;
    left -= piece;
  }
  return client != nullptr && SearchForBoundry() == STEP_OK;
}

MF_STATUS __tag_MIME_PRIV::RequestStream() noexcept {
  client.reset(new (std::nothrow)
                   WPHttpClient(host, std::atoi(port.c_str()), path, user, password, kTimeout));
  if (client == nullptr) return MF_ERR_HTTP;
  if (client->SendRequest() != HTTP_OK) return MF_ERR_CONNECT;
  int status_code = 0;
  switch (client->CheckResponse(status_code)) {
    case HTTP_OK:
      return MF_OK;
    case HTTP_ERR_IO:
      return MF_ERR_CONNECT;
    case HTTP_ERR_UNAUTHORIZED:
      return MF_ERR_UNAUTHORIZED;
    case HTTP_ERR_RESPONSE:
      return MF_ERR_BAD_RESPONSE;
    default:
      return MF_ERR_HTTP;
  }
}

// Hyphens and equals signs before the boundary are skipped, and the first one inside it ends it: a
// boundary "--name" is met as "--name" in the stream of most cameras that announce it so.
MF_STATUS __tag_MIME_PRIV::CheckMime() noexcept {
  std::string type;
  if (client->GetHttpContent(HTTP_CONTENT_TYPE, type) != HTTP_OK) return MF_ERR_HTTP;
  (void)std::snprintf(line.data(), line.size(), "%s", type.c_str());
  char* rest = nullptr;
  const char* media = strtok_r(line.data(), " :;=", &rest);
  if (media == nullptr || !StartsWith(media, "multipart/x-mixed-replace"))
    return MF_ERR_NOT_MULTIPART;
  const char* parameter = strtok_r(nullptr, " :;=", &rest);
  if (parameter == nullptr || !StartsWith(parameter, "boundary")) return MF_ERR_NOT_MULTIPART;
  const char* name = strtok_r(nullptr, "=-", &rest);
  if (name == nullptr) return MF_ERR_NOT_MULTIPART;
  const int length = std::snprintf(boundary.data(), boundary.size(), "--%s", name);
  boundary_length =
      std::min(static_cast<std::uint32_t>(length), static_cast<std::uint32_t>(boundary.size() - 1));
  return MF_OK;
}

// The end of the stream reads as an empty line: the limits on numbers of lines end the search.
__tag_MIME_PRIV::StepResult __tag_MIME_PRIV::ReadDataToLineEnd() noexcept {
  const auto read_byte = [this](char* byte) { return client->ReadData(byte, 1); };
  const int count = watchpost::ReadHeadLine(
      line.data(), static_cast<int>(line.size()), read_byte, watchpost::MissingLineFeed::kCounts);
  return count < 0 ? STEP_READ_FAILED : STEP_OK;
}

__tag_MIME_PRIV::StepResult __tag_MIME_PRIV::SearchForBoundry() noexcept {
  for (int lines = 0; lines < kLongestSearch; ++lines) {
    if (ReadDataToLineEnd() != STEP_OK) return STEP_READ_FAILED;
    if (StartsWith(line.data(), boundary.data())) return STEP_OK;
    if (connected) continue;
    watchpost::LowerCase(line.data());  // of the head, behind its Content-Type
    chunked = chunked || watchpost::AnnouncesChunks(line.data());
  }
  return STEP_MALFORMED;
}

bool __tag_MIME_PRIV::StoreContentType(const char* type) noexcept {
  if (type == nullptr) return false;
  (void)std::snprintf(content_type.data(), content_type.size(), "%s", type);
  content_type_length = static_cast<std::uint32_t>(std::strlen(content_type.data()));
  return true;
}

bool __tag_MIME_PRIV::StoreContentLength(const char* text) noexcept {
  const int length = text == nullptr ? -1 : watchpost::DecimalToInt(text);
  if (length < 0) return false;
  length_known = true;
  content_length = static_cast<std::uint32_t>(length);
  return true;
}

__tag_MIME_PRIV::StepResult __tag_MIME_PRIV::GetBodyInfo() noexcept {
  length_known = false;
  content_length = 0;  // nothing of the part before may count as held
  for (int lines = 0; lines < kLongestSearch; ++lines) {
    if (ReadDataToLineEnd() != STEP_OK) return STEP_READ_FAILED;
    watchpost::LowerCase(line.data());
    char* rest = nullptr;
    const char* name = strtok_r(line.data(), kFieldEnd, &rest);
    if (name == nullptr) continue;
    if (StartsWith(name, "content-type")) {
      if (!StoreContentType(strtok_r(nullptr, kFieldEnd, &rest))) return STEP_MALFORMED;
      return length_known ? ConsumeCRLF() : STEP_OK;
    }
    if (length_known || !StartsWith(name, "content-length")) continue;
    if (!StoreContentLength(strtok_r(nullptr, kFieldEnd, &rest))) return STEP_MALFORMED;
    lines = -1;  // as many lines again for the content type
  }
  return STEP_MALFORMED;
}

__tag_MIME_PRIV::StepResult __tag_MIME_PRIV::GetContentLen() noexcept {
  if (length_known) return STEP_OK;
  content_length = 0;
  if (ReadDataToLineEnd() != STEP_OK) return STEP_READ_FAILED;
  if (line[0] == '\0') return STEP_OK;
  watchpost::LowerCase(line.data());
  char* rest = nullptr;
  const char* name = strtok_r(line.data(), kFieldEnd, &rest);
  if (name == nullptr || !StartsWith(name, "content-length")) return STEP_MALFORMED;
  if (!StoreContentLength(strtok_r(nullptr, kFieldEnd, &rest))) return STEP_MALFORMED;
  return ConsumeCRLF();
}

__tag_MIME_PRIV::StepResult __tag_MIME_PRIV::ConsumeCRLF() noexcept {
  for (int bytes = 0; bytes < 2; ++bytes) {
    char byte = '\0';
    if (client->ReadData(&byte, 1) != 1) return STEP_READ_FAILED;
    if (byte == '\n') return STEP_OK;
  }
  return STEP_MALFORMED;
}

bool __tag_MIME_PRIV::ReadExactly(unsigned char* buf, std::uint32_t length) noexcept {
  const int wanted = static_cast<int>(length);
  return client != nullptr && client->ReadData(reinterpret_cast<char*>(buf), wanted) == wanted;
}

__tag_MIME_PRIV::StepResult __tag_MIME_PRIV::GetBodyContent() noexcept {
  if (length_known) return STEP_OK;
  if (client == nullptr) return STEP_READ_FAILED;
  const int held = client->ReadThrough(reinterpret_cast<char*>(data.data()),
                                       static_cast<int>(data.size()) - 1,
                                       {boundary.data(), boundary_length});
  if (held <= 0) return held < 0 ? STEP_READ_FAILED : STEP_MALFORMED;
  const std::size_t at = static_cast<std::size_t>(held) - boundary_length;
  const std::size_t line_end = at >= 2 && data[at - 2] == '\r' ? 2 : 1;
  content_length = static_cast<std::uint32_t>(at - std::min(at, line_end));
  return STEP_OK;
}
