// A thread that is waited for no longer than one wants to. One other thread starts and joins it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace wpd {

class BoundedThread {
 public:
  BoundedThread() = default;
  BoundedThread(const BoundedThread&) = delete;
  BoundedThread& operator=(const BoundedThread&) = delete;

  /// The thread must have been joined, or never been started.
  ~BoundedThread() = default;

  template <typename Body>
  void Start(Body body) {
    thread_ = std::thread([this, body] {
      body();
      const std::lock_guard lock(mutex_);
      ended_ = true;
      end_.notify_all();
    });
  }

  /// Waits for the end of the thread, which somebody must have asked for. False when that takes
  /// longer than `limit`: the process must then leave without running destructors.
  bool Join(std::chrono::milliseconds limit) {
    if (!thread_.joinable()) return true;
    std::unique_lock lock(mutex_);
    if (!end_.wait_for(lock, limit, [this] { return ended_; })) return false;
    lock.unlock();
    thread_.join();
    return true;
  }

 private:
  std::mutex mutex_;  // guards ended_
  std::condition_variable end_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace wpd
