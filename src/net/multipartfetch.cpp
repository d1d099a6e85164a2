#include "net/multipartfetch.h"

#include <cstdio>
#include <new>

#include "base/utils.h"
#include "net/mimestream_internal.h"

namespace {

std::string TextOf(const char* text) {
  return text == nullptr ? "" : text;
}

}  // namespace

MultipartFetch::MultipartFetch(
    const char* host, int port, const char* path, const char* user, const char* password) noexcept {
  if (host == nullptr || port < 0) return;
  priv_.reset(new (std::nothrow) __tag_MIME_PRIV);
  if (priv_ == nullptr) return;
  priv_->host = host;
  priv_->port = itos(port);
  priv_->path = TextOf(path);
  priv_->user = TextOf(user);
  priv_->password = TextOf(password);
}

MultipartFetch::~MultipartFetch() = default;

MF_STATUS MultipartFetch::TestConnect() noexcept {
  return priv_ == nullptr ? MF_ERR_NOT_INIT : priv_->Connector();
}

MF_STATUS MultipartFetch::NextPartInfo(unsigned int& length,
                                       char* type,
                                       unsigned int typeSize) noexcept {
  if (priv_ == nullptr) return MF_ERR_NOT_INIT;
  if (type == nullptr || typeSize == 0) return MF_ERR_PARAM;
  MF_STATUS status = priv_->Connector();
  if (status == MF_OK) status = priv_->NextPart();
  if (status != MF_OK) {
    priv_->connected = false;
    return status;
  }
  length = priv_->content_length;
  (void)std::snprintf(type, typeSize, "%s", priv_->content_type.data());
  return MF_OK;
}

MF_STATUS MultipartFetch::FetchContent(unsigned char* buf, unsigned int size) noexcept {
  if (priv_ == nullptr) return MF_ERR_NOT_INIT;
  if (buf == nullptr || size == 0) return MF_ERR_PARAM;
  if (size < priv_->content_length) return MF_ERR_BUFFER_SMALL;
  const MF_STATUS status = priv_->FetchBody(buf);
  if (status != MF_OK) priv_->connected = false;
  return status;
}

void MultipartFetch::DropData() noexcept {
  if (priv_ == nullptr || !priv_->length_known) return;
  if (!priv_->SkipBody()) priv_->connected = false;
}

bool MultipartFetch::IsChunked() const noexcept {
  return priv_ != nullptr && priv_->chunked;
}

void MultipartFetch::SetBatch(int bytes, int longest) noexcept {
  if (priv_ != nullptr && priv_->client != nullptr) priv_->client->SetBatch(bytes, longest);
}

bool MultipartFetch::WillWait(int bytes) const noexcept {
  return priv_ == nullptr || priv_->client == nullptr || priv_->client->WillWait(bytes);
}

void MultipartFetch::SetReconnect() noexcept {
  if (priv_ != nullptr) priv_->connected = false;
}

int MultipartFetch::GetContentType(char* dst, unsigned int n) const noexcept {
  if (dst == nullptr || n == 0) return -1;
  (void)std::snprintf(dst, n, "%s", priv_ == nullptr ? "" : priv_->content_type.data());
  return 0;
}

int GetSnapshotFromCamera(std::string host,
                          int port,
                          std::string user,
                          std::string password,
                          std::string path,
                          unsigned char* buf,
                          int* size) noexcept {
  if (buf == nullptr || size == nullptr) return -1;
  MultipartFetch fetch(host.c_str(), port, path.c_str(), user.c_str(), password.c_str());
  unsigned int length = 0;
  char type[100];
  if (fetch.NextPartInfo(length, type, sizeof type) != MF_OK) return -1;
  const bool fits = *size >= 0 && length <= static_cast<unsigned int>(*size);
  *size = static_cast<int>(length);
  if (!fits) return -1;
  return fetch.FetchContent(buf, length) == MF_OK ? 0 : -1;
}
