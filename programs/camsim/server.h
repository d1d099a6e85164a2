// The simulated camera's web server: a thread for each connection. Thread-safe.
#pragma once

#include <watchpost/base/uniquefd.h>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "fault.h"
#include "frames.h"
#include "lens.h"
#include "stream.h"

namespace camsim {

struct ServerOptions {
  int port = 0;      ///< 0: any free one
  std::string user;  ///< empty: no password wanted
  std::string password;
  StreamOptions stream;
  std::shared_ptr<Lens> lens;  ///< null for a camera that cannot be moved
};

/// Serves /video.mjpg, /snapshot.jpg, and /fault/NAME, which switches to another fault.
class Server {
 public:
  Server(ServerOptions options, std::unique_ptr<FrameSource> frames, Fault fault);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Listens on 127.0.0.1. Returns the port, or -1 with errno set.
  int Listen();

  /// Starts to serve.
  void Start();

  /// Ends every connection and waits for their threads.
  void Stop();

 private:
  struct Connection {
    watchpost::UniqueFd fd;
    std::thread thread;
    bool done = false;
  };

  void AcceptLoop();
  void Serve(int fd);
  void SwitchFault(int fd, const std::string& name);
  void JoinFinished();

  ServerOptions options_;
  std::unique_ptr<FrameSource> frames_;
  FaultSwitch faults_;
  watchpost::UniqueFd listener_;
  std::thread acceptor_;
  std::mutex mutex_;  // guards connections_
  std::list<Connection> connections_;
};

}  // namespace camsim
