// One daemon a camera: an exclusive flock on "/var/run/orva/wpd-ID.lock", held as long as the
// daemon lives.
#pragma once

#include <watchpost/base/uniquefd.h>

#include <string>

namespace wpd {

class InstanceLock {
 public:
  explicit InstanceLock(int camera_id);

  /// Takes the lock. False, with `error` filled, when another daemon holds it or the file cannot be
  /// made. The lock is kept by every process forked meanwhile, and given back when the last of them
  /// has ended.
  bool Take(std::string& error);

  /// Writes the calling process's id into the file, for whoever wants to know who holds the lock.
  void WriteProcessId() const;

 private:
  std::string path_;
  watchpost::UniqueFd fd_;
};

}  // namespace wpd
