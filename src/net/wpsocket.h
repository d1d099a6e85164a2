// The TCP connection through which every camera request travels. One thread at a time
// uses an object. Nothing is logged; failures are results.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/export.h"

/// One IPv4 stream socket with a read-ahead buffer of 64 KiB. SetSocketInfo, then BuildConnect,
/// then reads and writes; BuildConnect may be called again at any time.
class WATCHPOST_API WPSocket {
 public:
  WPSocket() noexcept = default;
  virtual ~WPSocket();
  WPSocket(const WPSocket&) = delete;
  WPSocket& operator=(const WPSocket&) = delete;

  /// Names the peer and drops a connection to an earlier one. `timeout` is the longest wait in
  /// seconds before each read and write; a negative one means a blocking socket.
  void SetSocketInfo(std::string host, int port, int timeout) noexcept;

  /// Connects to the first IPv4 address of the host, after dropping what was connected. Blocks as
  /// long as the operating system's connect does. Returns 0, or -1 on any failure.
  int BuildConnect() noexcept;

  /// Reads until `len` bytes are delivered, the peer has closed, or a read fails. Returns the
  /// number of bytes delivered, 0 at the end of the stream; -1 when the first read failed or a wait
  /// expired with nothing delivered, and for a null `buf` or a negative `len`.
  int ReadData(char* buf, int len) noexcept;

  /// Reads until what was read ends with `end`, which is not empty, and no byte further. Returns
  /// the number of bytes, `end` among them; 0 when `room` bytes do not hold it; -1 when the stream
  /// ends or a read fails before.
  int ReadThrough(char* buf, int room, std::string_view end) noexcept;

  /// One write. Returns the number of bytes taken, which may be less than `len`; -1 on failure,
  /// when not connected, and for a null `buf` or a `len` below 1. Never raises SIGPIPE.
  int WriteData(const char* buf, int len) noexcept;

  /// From now on a read of a socket with a time-out waits until `bytes` have arrived, or `longest`
  /// milliseconds have passed with less: what comes often is then taken at once. The kernel makes
  /// room for twice as many. 0 bytes end that, and so does the end of the connection.
  void SetBatch(int bytes, int longest) noexcept;

  /// Whether reading so many bytes will take a wait, as far as is known without a system call.
  [[nodiscard]] bool WillWait(int bytes) const noexcept { return count_ < bytes && !more_; }

  /// Closes the connection and forgets what was read ahead.
  void DisConnect() noexcept;

  /// True from a successful BuildConnect until the connection is dropped or a read or write failed.
  /// A peer that closed is noticed by neither; no network activity.
  [[nodiscard]] bool VerifyConnection() const noexcept { return connected_; }

 private:
  bool ReadAhead() noexcept;
  bool ReadBatch() noexcept;
  void SetLowWater(int bytes) noexcept;
  std::int32_t Read() noexcept;
  bool Connect(const std::string& port) noexcept;
  int Fail() noexcept;

  std::array<char, 65536> buffer_{};
  std::uint32_t offset_ = 0;  // next unread byte
  std::int32_t count_ =
      0;  // unread bytes from there; negative after a failed read, until it is reported
  std::string host_;
  bool connected_ = false;
  std::int32_t port_ = -1;
  std::int32_t fd_ = -1;  // open when greater than 0
  std::int32_t timeout_ = -1;
  bool more_ = false;  // the last read filled the buffer
  int batch_bytes_ = 0;
  int batch_longest_ = 0;  // milliseconds
  int low_water_ = 1;      // as the kernel has it
};
