#include "workerthread.h"

namespace wpd {

using watchpost::MutexLock;

void WorkerThread::Start() {
  thread_ = std::thread([this] { Run(); });
}

void WorkerThread::Wake() {
  {
    const MutexLock lock(mutex_);
    wake_ = true;
  }
  changed_.WakeAll();
}

bool WorkerThread::IsStopping() {
  const MutexLock lock(mutex_);
  return stop_;
}

bool WorkerThread::Stop(std::chrono::milliseconds limit) {
  if (!thread_.joinable()) return true;
  const Clock::time_point deadline = Clock::now() + limit;
  {
    const MutexLock lock(mutex_);
    stop_ = true;
    changed_.WakeAll();
    while (!ended_) {
      if (!changed_.WaitUntil(mutex_, deadline) && !ended_) return false;
    }
  }
  thread_.join();
  return true;
}

void WorkerThread::Run() {
  while (WaitForWork(delegate_.DoWork())) {
  }
  delegate_.AtEnd();
  const MutexLock lock(mutex_);
  ended_ = true;
  changed_.WakeAll();
}

// False when the thread is to end.
bool WorkerThread::WaitForWork(std::optional<Clock::duration> pause) {
  const MutexLock lock(mutex_);
  if (pause) {
    const Clock::time_point deadline = Clock::now() + *pause;
    while (!wake_ && !stop_ && changed_.WaitUntil(mutex_, deadline)) {
    }
  } else {
    while (!wake_ && !stop_) changed_.Wait(mutex_);
  }
  wake_ = false;
  return !stop_;
}

}  // namespace wpd
