// A camera's Motion-JPEG stream: one HTTP response of type multipart/x-mixed-replace (RFC 2046,
// section 5.1), one frame a part. One thread at a time uses an object. Nothing is
// logged; outcomes are MF_STATUS values.
#pragma once

#include <memory>
#include <string>

#include "base/export.h"
#include "net/streamstatus.h"

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

  /// Whether the camera sends its body in chunks, whose lengths then stand between the bytes of its
  /// frames: nothing that was fetched can be used.
  [[nodiscard]] bool IsChunked() const noexcept;

  /// As WPSocket::SetBatch; ends with the connection.
  void SetBatch(int bytes, int longest) noexcept;

  /// As WPSocket::WillWait.
  [[nodiscard]] bool WillWait(int bytes) const noexcept;

  /// Makes the next operation connect anew.
  void SetReconnect() noexcept;

  /// Copies the content type of the present part, cut to `n` bytes. 0, or -1 for a null or empty
  /// destination.
  int GetContentType(char* dst, unsigned int n) const noexcept;

 private:
  std::unique_ptr<__tag_MIME_PRIV> priv_;
};

/// Fetches the first frame of a stream into `buf`. `*size` holds the room in bytes and receives
/// its size, also when there is not enough room. Returns 0, or -1 on every failure.
WATCHPOST_API int GetSnapshotFromCamera(std::string host,
                                        int port,
                                        std::string user,
                                        std::string password,
                                        std::string path,
                                        unsigned char* buf,
                                        int* size) noexcept;
