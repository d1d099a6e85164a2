// The private record of MultipartFetch and the steps that read a stream with it. Steps return
// StepResult.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "net/multipartfetch.h"
#include "net/wphttpclient.h"

/// Outcome of one reading step.
enum StepResult : int {
  STEP_OK = 0,
  STEP_READ_FAILED = -1,
  STEP_MALFORMED = -2,
};

struct __tag_MIME_PRIV {
  /// Opens the stream and passes its first boundary, unless that is done.
  MF_STATUS Connector() noexcept;

  /// Content type of the next part, and its length when that comes first.
  StepResult GetBodyInfo() noexcept;

  /// Length of the part when it comes second; `length_known` stays clear when the part tells none.
  StepResult GetContentLen() noexcept;

  /// Body of a part without a length, up to the next boundary, into `data`.
  StepResult GetBodyContent() noexcept;

  /// Reads lines up to the next boundary, at most 16.
  StepResult SearchForBoundry() noexcept;

  /// Reads exactly `length` bytes; false when the stream ends before.
  bool ReadExactly(unsigned char* buf, std::uint32_t length) noexcept;

  bool connected = false;
  bool length_known = false;  ///< the part told its length, so its body is still in the stream
  std::array<unsigned char, 262144> data{};
  std::array<char, 1024> line{};
  std::array<char, 512> content_type{};
  std::array<char, 512> boundary{};
  std::uint32_t content_type_length = 0;
  std::uint32_t content_length = 0;
  std::uint32_t boundary_length = 0;
  std::string host;
  std::string path;
  std::string user;
  std::string password;
  std::string port;
  std::unique_ptr<WPHttpClient> client;

 private:
  MF_STATUS RequestStream() noexcept;
  MF_STATUS CheckMime() noexcept;
  StepResult ReadDataToLineEnd() noexcept;
  StepResult ConsumeCRLF() noexcept;
  bool StoreContentType(const char* type) noexcept;
  bool StoreContentLength(const char* text) noexcept;
};
