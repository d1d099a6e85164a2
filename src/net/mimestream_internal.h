// The record behind MultipartFetch: an open stream, and the part that it is at.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "net/streamstatus.h"
#include "net/wphttpclient.h"

struct __tag_MIME_PRIV {
  /// Opens the stream and passes its first boundary, unless that is done.
  MF_STATUS Connector() noexcept;

  /// Reads the header of the next part and, when it names no length, the part itself into `data`.
  MF_STATUS NextPart() noexcept;

  /// Copies the present part into `buf`, which has room for it, and passes the boundary behind it.
  MF_STATUS FetchBody(unsigned char* buf) noexcept;

  /// Passes the present part, whose length is known, and the boundary behind it. False when the
  /// stream ends before.
  bool SkipBody() noexcept;

  bool connected = false;
  bool chunked = false;       ///< the body comes in chunks: what is read are not the frames
  bool length_known = false;  ///< the part named its length, so its body is still in the stream
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
  /// Outcome of one step.
  enum StepResult : int {
    STEP_OK = 0,
    STEP_READ_FAILED = -1,
    STEP_MALFORMED = -2,
  };

  static MF_STATUS StatusOf(StepResult step, MF_STATUS malformed) noexcept;

  MF_STATUS RequestStream() noexcept;
  MF_STATUS CheckMime() noexcept;
  StepResult ReadDataToLineEnd() noexcept;
  StepResult ConsumeCRLF() noexcept;

  /// Content type of the next part, and its length when that comes first.
  StepResult GetBodyInfo() noexcept;

  /// Length of the part when it comes second; `length_known` stays clear when the part names none.
  StepResult GetContentLen() noexcept;

  /// Body of a part without a length, up to the next boundary, into `data`; one byte of that stays
  /// free.
  StepResult GetBodyContent() noexcept;

  /// Reads lines up to the next boundary, at most 16.
  StepResult SearchForBoundry() noexcept;

  /// Reads exactly `length` bytes; false when the stream ends before.
  bool ReadExactly(unsigned char* buf, std::uint32_t length) noexcept;
  bool StoreContentType(const char* type) noexcept;
  bool StoreContentLength(const char* text) noexcept;
};
