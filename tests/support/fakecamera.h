// A camera that answers each connection with scripted bytes.
#pragma once

#include "base/uniquefd.h"
#include "support/test.h"

namespace watchpost::test {

/// Listens on a free port of loopback, which goes to `port`; connections wait in a queue of so
/// many.
UniqueFd ListenOnLoopback(int queue, int& port);

/// What a client sends up to the end of its request's head; less when it is silent for a second.
std::string ReadRequest(int fd);

/// False when the other side has closed before it took all bytes.
bool SendAll(int fd, const std::string& bytes);

class FakeCamera {
 public:
  enum class After { kClose, kHold };
  enum class First { kClient, kCamera };  ///< who speaks first

  /// Answers connection i with replies[i], the last reply again for later ones, and then closes it
  /// or holds it open until the object is destroyed.
  explicit FakeCamera(std::vector<std::string> replies,
                      After after = After::kClose,
                      First first = First::kClient);
  ~FakeCamera();
  FakeCamera(const FakeCamera&) = delete;
  FakeCamera& operator=(const FakeCamera&) = delete;

  [[nodiscard]] int Port() const { return port_; }

  /// What the clients sent, a text each; complete after Finish.
  [[nodiscard]] const std::vector<std::string>& Requests() const { return requests_; }

  /// Stops serving.
  void Finish();

 private:
  void Serve();

  std::vector<std::string> replies_;
  After after_;
  First first_;
  std::vector<std::string> requests_;
  std::vector<UniqueFd> held_;
  UniqueFd listener_;
  int port_ = 0;
  std::thread thread_;
};

/// A listener whose queue is full: connecting to it gets no answer.
class FullListener {
 public:
  FullListener();
  [[nodiscard]] int Port() const { return port_; }

 private:
  int port_ = 0;
  std::vector<UniqueFd> sockets_;
};

}  // namespace watchpost::test
