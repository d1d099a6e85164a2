// One HTTP/1.0 GET to a camera, with optional Basic authentication (RFC 7617). One
// thread at a time uses an object. Deliberately minimal: one request a connection, no redirects, no
// chunked bodies, and only two response headers are remembered. Nothing is logged; outcomes are
// results.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "base/export.h"
#include "net/wpsocket.h"

/// Response headers that are remembered.
enum HTTP_MAP_KEY : int {
  HTTP_CONTENT_TYPE = 0,    ///< value of Content-Type
  HTTP_CONTENT_LENGTH = 1,  ///< value of Content-Length, when it came before Content-Type
};

/// Results of the client's operations.
enum HTTP_RESULT : int {
  HTTP_OK = 0,
  HTTP_ERR_STATE = 1,         ///< not allowed in the present state
  HTTP_ERR_KEY = 2,           ///< no such HTTP_MAP_KEY
  HTTP_ERR_IO = 3,            ///< connection, write or read failed, or the head is malformed
  HTTP_ERR_UNAUTHORIZED = 4,  ///< status 401
  HTTP_ERR_RESPONSE = 5,      ///< not HTTP/1.0 or 1.1, or a status that is neither 2xx nor 401
  HTTP_ERR_NOT_FOUND = 6,     ///< the header was not there
};

class WATCHPOST_API WPHttpClient {
 public:
  /// `path` is given without its leading "/". `timeout` is the longest wait in seconds before each
  /// read and write, negative for none. Makes no connection.
  WPHttpClient(std::string host,
               int port,
               std::string path,
               std::string user,
               std::string password,
               int timeout) noexcept;
  virtual ~WPHttpClient() = default;
  WPHttpClient(const WPHttpClient&) = delete;
  WPHttpClient& operator=(const WPHttpClient&) = delete;

  /// Connects, sends the request and reads the response head. Returns HTTP_OK when the request was
  /// written, whatever the camera answered (see CheckResponse), else HTTP_ERR_IO.
  int SendRequest() noexcept;

  /// What the camera answered, as an HTTP_RESULT; `statusCode` receives the HTTP status, 0 without
  /// one.
  int CheckResponse(int& statusCode) const noexcept;

  /// The request line.
  [[nodiscard]] std::string GetRequest() const noexcept;

  /// Reads the status line and, for 2xx, the head. A step of SendRequest; HTTP_ERR_STATE at any
  /// other time.
  int CheckHttpResponse() noexcept;

  /// Reads head lines up to Content-Type, at most 15. A step of CheckHttpResponse.
  int CheckContentType() noexcept;

  /// Reads one line of the head, without its end, into `buf` of `size` bytes and terminates it with
  /// NUL. A line of `size` bytes or more is cut to `size` - 1. Returns the number of bytes read,
  /// `size` for a cut line; 0 at the end of the stream; -1 when a read failed or `size` is below 1.
  int ReadToLineEnd(char* buf, int size) noexcept;

  /// Copies a remembered header: all in lower case, with the blank that followed the colon.
  int GetHttpContent(HTTP_MAP_KEY key, std::string& value) const noexcept;

  /// Whether a header line before Content-Type announced a body in chunks, which this client does
  /// not undo.
  [[nodiscard]] bool IsChunked() const noexcept { return chunked_; }

  /// WPSocket's operations of these names, once the head is read; -1 before.
  int ReadData(char* buf, int len) noexcept;
  int ReadThrough(char* buf, int room, std::string_view end) noexcept;
  int WriteData(const char* buf, int len) noexcept;
  void SetBatch(int bytes, int longest) noexcept { socket_.SetBatch(bytes, longest); }
  [[nodiscard]] bool WillWait(int bytes) const noexcept { return socket_.WillWait(bytes); }

 private:
  enum State : std::int32_t { kNothingSent = 0, kRequestSent = 1, kHeadRead = 2 };

  [[nodiscard]] bool AddAuthorization(std::string& request) const noexcept;
  [[nodiscard]] bool WriteAll(const std::string& request) noexcept;

  WPSocket socket_;
  std::map<int, std::string> headers_;
  State state_ = kNothingSent;
  std::int32_t result_ = HTTP_ERR_STATE;
  std::string path_;
  std::string user_;
  std::string password_;
  std::int32_t status_code_ = 0;
  bool chunked_ = false;
};
