// Where the simulated camera's pictures come from. Thread-safe: every connection asks for the
// frames it needs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace camsim {

using Jpeg = std::vector<unsigned char>;

class FrameSource {
 public:
  virtual ~FrameSource() = default;

  /// Picture number `number`, counted from 0 without an end; the same picture each time it is asked
  /// for.
  [[nodiscard]] virtual Jpeg Frame(std::uint64_t number) const = 0;
};

/// Replays the *.jpg and *.jpeg files of a folder in the order of their names, over and over. Null,
/// with `error` filled, when there is none.
std::unique_ptr<FrameSource> MakeFolderSource(const std::string& folder, std::string& error);

}  // namespace camsim
