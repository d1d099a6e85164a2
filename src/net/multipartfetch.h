// A camera's Motion-JPEG stream: one HTTP response of type multipart/x-mixed-replace (RFC 2046,
// section 5.1), one picture a part. Reentrant; one thread at a time uses an object. Nothing is
// logged; outcomes are MF_STATUS values.
#pragma once

#include <memory>
#include <string>

#include "platform/export.h"

/// Results of the reader's operations.
enum MF_STATUS : int {
  MF_OK = 0,
  MF_ERR_HTTP = 1,      ///< no client, no content type in the head, or an unexpected HTTP result
  MF_ERR_PARAM = 2,     ///< null or empty output buffer
  MF_ERR_NOT_INIT = 3,  ///< the object was made from a null host or a negative port
  MF_ERR_CONNECT = 4,   ///< connection, write or read failed
  MF_ERR_BAD_RESPONSE = 5,   ///< bad status line, or a status other than 2xx and 401
  MF_ERR_UNAUTHORIZED = 6,   ///< the camera answered 401
  MF_ERR_BUFFER_SMALL = 7,   ///< the caller's buffer is shorter than the part
  MF_ERR_NOT_MULTIPART = 8,  ///< not multipart/x-mixed-replace with a boundary
  MF_ERR_PART_TYPE = 9,      ///< no usable Content-Type in a part header
  MF_ERR_PART_LENGTH = 10,   ///< another line stands where Content-Length should
  MF_ERR_BOUNDARY =
      11,  ///< no boundary within the limits, or a part without length above 262,143 bytes
};

struct __tag_MIME_PRIV;

/// Connects by itself at the first use and, after any failure, at the next. Every operation may
/// block: up to 5 s for each read that the camera does not serve, as long as the operating system
/// takes for connecting.
class WATCHPOST_API MultipartFetch {
 public:
  /// `path` is given without its leading "/". Null texts other than the host count as empty. No
  /// network activity.
  MultipartFetch(const char* host,
                 int port,
                 const char* path,
                 const char* user,
                 const char* password) noexcept;
  ~MultipartFetch();
  MultipartFetch(const MultipartFetch&) = delete;
  MultipartFetch& operator=(const MultipartFetch&) = delete;

  /// Connects and finds the first boundary, unless that is done.
  MF_STATUS TestConnect() noexcept;

  /// Moves on to the next part. `length` receives its size in bytes, `type` its content type, cut
  /// to `typeSize` bytes. A part must be consumed by FetchContent or DropData before the next call.
  MF_STATUS NextPartInfo(unsigned int& length, char* type, unsigned int typeSize) noexcept;

  /// Delivers the present part. With MF_ERR_BUFFER_SMALL nothing is consumed.
  MF_STATUS FetchContent(unsigned char* buf, unsigned int size) noexcept;

  /// Skips the present part.
  void DropData() noexcept;

  /// Makes the next operation connect anew.
  void SetReconnect() noexcept;

  /// Copies the content type of the present part, cut to `n` bytes. 0, or -1 for a null or empty
  /// destination.
  int GetContentType(char* dst, unsigned int n) const noexcept;

 private:
  std::unique_ptr<__tag_MIME_PRIV> priv_;
};

/// Fetches the first picture of a stream into `buf`. `*size` holds the room in bytes and receives
/// the picture's size, also when there is not enough room. Returns 0, or -1 on every failure.
WATCHPOST_API int GetSnapshotFromCamera(std::string host,
                                        int port,
                                        std::string user,
                                        std::string password,
                                        std::string path,
                                        unsigned char* buf,
                                        int* size) noexcept;
