// A small disk of the test's own, in a mount namespace that goes with its process.
#pragma once

#include "support/test.h"

namespace watchpost::test {

class PrivateDisk {
 public:
  /// Mounts it at `where`, which is made; `size` as mount takes it.
  PrivateDisk(std::string where, const std::string& size);
  ~PrivateDisk();
  PrivateDisk(const PrivateDisk&) = delete;
  PrivateDisk& operator=(const PrivateDisk&) = delete;

  /// Takes it away, whoever uses it, and brings it back with what was on it.
  void Unmount();
  void Mount();

  /// Leaves nothing free, until Free.
  void Fill();
  void Free();

  [[nodiscard]] double FreeShare() const;

 private:
  std::string where_;
  TempDir store_;
};

}  // namespace watchpost::test
