#include "e2e/numberedcamera.h"

#include <poll.h>
#include <sys/socket.h>

#include "support/fakecamera.h"
#include "support/jpegs.h"

namespace watchpost::test {
namespace {

constexpr milliseconds kFrameTime{40};
constexpr std::size_t kDigits = 8;
// A picture's beginning, and the head of a comment with the number.
constexpr char kNumberedStart[] = "\xFF\xD8\xFF\xFE\x00\x0A";
const std::string kStart(kNumberedStart, sizeof kNumberedStart - 1);

bool IsReadable(int fd, milliseconds limit) {
  pollfd wanted{fd, POLLIN, 0};
  return poll(&wanted, 1, static_cast<int>(limit.count())) > 0;
}

}  // namespace

std::vector<std::size_t> FrameNumbers(const std::string& bytes) {
  std::vector<std::size_t> numbers;
  for (std::size_t at = bytes.find(kStart); at != std::string::npos;
       at = bytes.find(kStart, at + 1))
    numbers.push_back(std::strtoul(bytes.substr(at + kStart.size(), kDigits).c_str(), nullptr, 10));
  return numbers;
}

NumberedCamera::NumberedCamera() {
  for (unsigned int seed = 2; seed < 6; ++seed) {
    const Jpeg jpeg = MakeJpeg({.width = 160, .height = 120, .quality = 50}, seed);
    pictures_.emplace_back(jpeg.begin() + 2, jpeg.end());
  }
  listener_ = ListenOnLoopback(8, port_);
  thread_ = std::thread([this] { Serve(); });
}

NumberedCamera::~NumberedCamera() {
  ended_ = true;
  thread_.join();
}

std::string NumberedCamera::Url() const {
  return "http://127.0.0.1:" + std::to_string(port_) + "/video.mjpg";
}

std::vector<SentFrame> NumberedCamera::Sent() const {
  const std::lock_guard lock(mutex_);
  return sent_;
}

std::string NumberedCamera::Frame(std::size_t number) const {
  std::string digits = std::to_string(number);
  digits.insert(0, kDigits - digits.size(), '0');
  return kStart + digits + pictures_[number % pictures_.size()];
}

void NumberedCamera::Serve() {
  while (!ended_) {
    if (!IsReadable(listener_.Get(), kFrameTime)) continue;
    const UniqueFd client(accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (client.IsValid() && !away_) Stream(client.Get());
  }
}

void NumberedCamera::Stream(int client) {
  (void)ReadRequest(client);
  if (!SendAll(client,
               "HTTP/1.0 200 OK\r\nContent-Type: "
               "multipart/x-mixed-replace;boundary=next\r\n\r\n--next\r\n"))
    return;
  while (!ended_ && !away_) {
    // The client says nothing more: what can be read is its end.
    if (IsReadable(client, kFrameTime)) return;
    const std::string frame = Frame(sent_.size());  // which this thread alone changes
    const std::string head =
        "--next\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string(frame.size()) +
        "\r\n\r\n";
    if (!SendAll(client, head + frame + "\r\n--next\r\n")) return;
    const std::lock_guard lock(mutex_);
    sent_.push_back({Clock::now(), time(nullptr)});
  }
}

}  // namespace watchpost::test
