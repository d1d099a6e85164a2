// A thread that does one piece of work again and again: when asked, and when the work itself wants
// to be done again. Thread-safe.
#pragma once

#include <watchpost/base/mutex.h>

#include <chrono>
#include <optional>
#include <thread>

namespace wpd {

class WorkerThread {
 public:
  using Clock = std::chrono::steady_clock;

  /// What the thread does. Both are called by the thread alone.
  class Delegate {
   public:
    virtual ~Delegate() = default;

    /// Returns after how long it wants to be called again; nothing for not before Wake.
    virtual std::optional<Clock::duration> DoWork() = 0;

    /// The last call, once Stop was asked for.
    virtual void AtEnd() {}
  };

  /// `delegate` outlives the thread.
  explicit WorkerThread(Delegate& delegate) : delegate_(delegate) {}
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  /// The thread must have been stopped, or never been started.
  ~WorkerThread() = default;

  /// Starts the thread, which works at once.
  void Start();

  /// Makes it work soon. Does not block.
  void Wake();

  [[nodiscard]] bool IsStopping();

  /// Ends the thread after what it is doing, and waits for that. False when it takes longer than
  /// `limit`: the process must then leave without running destructors. True when the thread was
  /// never started.
  bool Stop(std::chrono::milliseconds limit);

 private:
  void Run();
  bool WaitForWork(std::optional<Clock::duration> pause);

  Delegate& delegate_;
  watchpost::Mutex mutex_;
  watchpost::Condition changed_;
  bool wake_ WATCHPOST_GUARDED_BY(mutex_) = false;
  bool stop_ WATCHPOST_GUARDED_BY(mutex_) = false;
  bool ended_ WATCHPOST_GUARDED_BY(mutex_) = false;
  std::thread thread_;
};

}  // namespace wpd
