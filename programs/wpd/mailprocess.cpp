#include "mailprocess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <watchpost/camera/camera.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>

namespace wpd {
namespace {

constexpr char kMark[] = "--send-mail";
enum Argument { kProgram, kMarked, kType, kWhen, kCamera, kFile, kArguments };

template <typename Number>
bool Parse(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

// What the daemon does with its signals is no business of the new process.
class PlainSignals {
 public:
  PlainSignals() {
    sigset_t none;
    sigset_t all;
    (void)sigemptyset(&none);
    (void)sigfillset(&all);
    (void)posix_spawnattr_init(&attributes_);
    (void)posix_spawnattr_setsigmask(&attributes_, &none);
    (void)posix_spawnattr_setsigdefault(&attributes_, &all);
    (void)posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~PlainSignals() { (void)posix_spawnattr_destroy(&attributes_); }
  PlainSignals(const PlainSignals&) = delete;
  PlainSignals& operator=(const PlainSignals&) = delete;
  [[nodiscard]] const posix_spawnattr_t* Get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

}  // namespace

bool SendInProcess(const MailOrder& order) {
  std::array<std::string, kArguments> texts;
  texts[kProgram] = "wpd";
  texts[kMarked] = kMark;
  texts[kType] = std::to_string(order.type);
  texts[kWhen] = std::to_string(order.when);
  texts[kCamera] = order.camera;
  texts[kFile] = order.file;
  std::array<char*, kArguments + 1> argv{};
  for (std::size_t i = 0; i < texts.size(); ++i) argv[i] = texts[i].data();
  pid_t child = 0;
  // The running file, also after an upgrade has put another in its place.
  if (posix_spawn(&child, "/proc/self/exe", nullptr, PlainSignals().Get(), argv.data(), environ) !=
      0)
    return false;
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return true;  // reaped by the system: how it ended is not known
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool RunAsMailProcess(int argc, char** argv, int& status) {
  if (argc != kArguments || std::strcmp(argv[kMarked], kMark) != 0) return false;
  (void)close_range(STDERR_FILENO + 1, ~0U, 0);  // cannot fail with these arguments
  int type = 0;
  time_t when = 0;
  Camera camera;
  camera.SetName(argv[kCamera]);
  const bool sent =
      Parse(argv[kType], type) && Parse(argv[kWhen], when) &&
      WPMailSender().SendMail(static_cast<WP_MAIL_TYPE>(type), &camera, &when, argv[kFile]) == 0;
  status = sent ? 0 : 1;
  return true;
}

}  // namespace wpd
