#include "stream.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <thread>
#include <utility>

namespace camsim {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kSlices = 10;  // a second, of a slow stream

bool SendAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

bool SendSlowly(int fd, std::string_view bytes, std::uint32_t bytes_a_second) {
  const std::size_t slice = std::max<std::size_t>(1, bytes_a_second / kSlices);
  const auto pause = std::chrono::duration<double>(static_cast<double>(slice) / bytes_a_second);
  for (; !bytes.empty(); bytes.remove_prefix(std::min(slice, bytes.size()))) {
    if (!SendAll(fd, bytes.substr(0, slice))) return false;
    std::this_thread::sleep_for(pause);
  }
  return true;
}

// Holds the connection open without a word until the client closes it or the fault changes.
void Stall(int fd, const FaultSwitch& faults) {
  while (faults.Get().kind == FaultKind::kStall) {
    pollfd client{fd, POLLIN | POLLRDHUP, 0};
    if (poll(&client, 1, 100) > 0) return;
  }
}

class Sender {
 public:
  Sender(int fd, const FrameSource& frames, const FaultSwitch& faults, const StreamOptions& options)
      : fd_(fd), frames_(frames), faults_(faults), options_(options) {
    if (options.dialect == Dialect::kLineFeeds) line_end_ = "\n";
    if (options.dialect == Dialect::kCapitals) boundary_ = "CAMSIM";
  }

  bool SendHead() {
    std::string announced = boundary_;
    if (options_.dialect == Dialect::kHyphens) announced = "--" + boundary_;
    if (options_.dialect == Dialect::kQuoted) announced = '"' + boundary_ + '"';
    const std::string version = chunked_ ? "HTTP/1.1" : "HTTP/1.0";
    const std::string coding = chunked_ ? "Transfer-Encoding: chunked" + line_end_ : "";
    return SendAll(fd_,
                   version + " 200 OK" + line_end_ + "Cache-Control: no-cache" + line_end_ +
                       "Content-Type: multipart/x-mixed-replace; boundary=" + announced +
                       line_end_ + coding + line_end_) &&
           SendAll(fd_, Body("--" + boundary_ + line_end_));
  }

  bool SendPart(std::uint64_t number) {
    const Fault fault = faults_.Get();
    Jpeg picture = frames_.Frame(number);
    if (fault.kind == FaultKind::kBroken && number % fault.value == fault.value - 1)
      picture.resize(picture.size() / 2);
    if (fault.kind == FaultKind::kNoEnd && number % fault.value == fault.value - 1)
      picture.resize(picture.size() - 2);
    if (fault.kind == FaultKind::kPadded) picture.resize(picture.size() + fault.value);
    if (fault.kind == FaultKind::kInvalid) std::fill(picture.begin(), picture.end(), 'x');
    std::string part = PartHeader(picture.size());
    part.append(reinterpret_cast<const char*>(picture.data()), picture.size());
    part += line_end_ + "--" + boundary_ + line_end_;
    part = Body(std::move(part));
    return fault.kind == FaultKind::kSlow ? SendSlowly(fd_, part, fault.value) : SendAll(fd_, part);
  }

 private:
  // As it goes over the wire.
  [[nodiscard]] std::string Body(std::string text) const {
    constexpr std::size_t kChunk = 4096;
    if (!chunked_) return text;
    std::string chunks;
    for (std::size_t at = 0; at < text.size(); at += kChunk) {
      const std::string chunk = text.substr(at, kChunk);
      char size[16];
      (void)std::snprintf(size, sizeof size, "%zx\r\n", chunk.size());
      chunks += size + chunk + "\r\n";
    }
    return chunks;
  }

  [[nodiscard]] std::string PartHeader(std::size_t size) const {
    constexpr std::size_t kMissing = 100;
    const bool is_jpg = options_.dialect == Dialect::kJpg;
    const std::string type =
        std::string("Content-Type: image/") + (is_jpg ? "jpg" : "jpeg") + line_end_;
    if (options_.dialect == Dialect::kShortLength) size -= std::min(size, kMissing);
    const std::string length = "Content-Length: " + std::to_string(size) + line_end_;
    switch (options_.dialect) {
      case Dialect::kNoLength:
        return type + line_end_;
      case Dialect::kLengthBeforeType:
        return length + type + line_end_;
      case Dialect::kExtraHeader:
        return type + "X-Timestamp: 1" + line_end_ + length + line_end_;
      default:
        return type + length + line_end_;
    }
  }

  int fd_;
  const FrameSource& frames_;
  const FaultSwitch& faults_;
  const StreamOptions& options_;
  const bool chunked_ = options_.dialect == Dialect::kChunked;
  std::string boundary_ = "camsim";
  std::string line_end_ = "\r\n";
};

}  // namespace

const std::map<std::string, Dialect> kDialectNames{
    {"length-after-type", Dialect::kLengthAfterType},
    {"length-before-type", Dialect::kLengthBeforeType},
    {"no-length", Dialect::kNoLength},
    {"hyphens", Dialect::kHyphens},
    {"line-feeds", Dialect::kLineFeeds},
    {"quoted", Dialect::kQuoted},
    {"capitals", Dialect::kCapitals},
    {"extra-header", Dialect::kExtraHeader},
    {"chunked", Dialect::kChunked},
    {"jpg", Dialect::kJpg},
    {"shortlength", Dialect::kShortLength},
};

void SendStream(int fd,
                const FrameSource& frames,
                const FaultSwitch& faults,
                const StreamOptions& options) {
  Sender sender(fd, frames, faults, options);
  if (!sender.SendHead()) return;
  const auto period =
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / options.fps));
  Clock::time_point due = Clock::now();
  for (std::uint64_t number = 0;; ++number) {
    const Fault fault = faults.Get();
    if (fault.kind == FaultKind::kStatus ||
        (fault.kind == FaultKind::kDrop && number >= fault.value))
      return;
    if (fault.kind == FaultKind::kStall && number >= fault.value) return Stall(fd, faults);
    if (!sender.SendPart(number)) return;
    due = std::max(due + period, Clock::now() - period);
    std::this_thread::sleep_until(due);
  }
}

void SendSnapshot(int fd,
                  const FrameSource& frames,
                  const FaultSwitch& faults,
                  const StreamOptions& options) {
  const double seconds = std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
  Jpeg picture = frames.Frame(static_cast<std::uint64_t>(seconds * options.fps));
  if (faults.Get().kind == FaultKind::kBroken) picture.resize(picture.size() / 2);
  const std::string head = "HTTP/1.0 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: " +
                           std::to_string(picture.size()) + "\r\n\r\n";
  if (!SendAll(fd, head)) return;
  (void)SendAll(
      fd,
      {reinterpret_cast<const char*>(picture.data()), picture.size()});  // the client may be gone
}

void SendStatus(int fd,
                const std::string& status,
                const std::string& headers,
                const std::string& body) {
  // The client may be gone already.
  (void)SendAll(
      fd,
      "HTTP/1.0 " + status + "\r\n" + headers + "Content-Type: text/plain\r\n\r\n" + body + "\n");
}

}  // namespace camsim
