// JPEG pictures of any kind, made with libjpeg, and their coefficients read back by plain means.
#pragma once

#include "support/test.h"

namespace watchpost::test {

using Jpeg = std::vector<unsigned char>;

/// Numbers of 32 bits that are the same on every machine.
class Random {
 public:
  explicit Random(unsigned int seed) : engine_(seed) {}
  unsigned int operator()() { return static_cast<unsigned int>(engine_()); }

 private:
  std::mt19937 engine_;
};

struct JpegKind {
  int width = 64;
  int height = 48;
  int components = 3;                                                            ///< 1, 3 or 4
  std::array<std::array<int, 2>, 4> sampling{{{2, 2}, {1, 1}, {1, 1}, {1, 1}}};  ///< across, down
  int quality = 75;
  bool progressive = false;
  bool scan_for_each = false;         ///< progressive, each coefficient in a scan of its own
  unsigned int restart_interval = 0;  ///< MCUs, 0 for none
  bool optimised = false;             ///< Huffman tables of its own
};

/// A picture of smooth shapes and grain; `seed` says which.
Jpeg MakeJpeg(const JpegKind& kind, unsigned int seed);

/// One component's coefficients: [block row][block column][coefficient].
struct Plane {
  int across, down;  // sampling factors
  std::vector<std::vector<std::array<std::int16_t, 64>>> blocks;
};
std::vector<Plane> ReadPlanes(const Jpeg& jpeg);

}  // namespace watchpost::test
