// The weekly schedule of a camera: what is recorded in each hour of the week, by local time.
#pragma once

#include <array>
#include <string>

#include "base/export.h"

/// What a camera records in one hour of the week. Values beyond the named ones are stored as they
/// are.
enum RecordingType : int {
  RECORDING_NONE = 0,        ///< nothing
  RECORDING_CONTINUOUS = 1,  ///< everything
  RECORDING_MOTION = 2,      ///< while something moves
};

namespace watchpost {

/// Days 0 (Sunday) to 6, hours 0 to 23. Every hour is RECORDING_NONE at first.
class WATCHPOST_API Schedule {
 public:
  static constexpr int kDays = 7;
  static constexpr int kHours = 24;

  [[nodiscard]] static bool Has(int day, int hour) noexcept;

  /// RECORDING_NONE for a position that does not exist.
  [[nodiscard]] RecordingType Get(int day, int hour) const noexcept;

  /// Stores any value. False for a position that does not exist.
  bool Set(int day, int hour, RecordingType type) noexcept;

  /// One digit a slot, day by day: 168 characters. A slot that holds anything but 0, 1 or 2 adds
  /// none, which moves all later ones forward.
  [[nodiscard]] std::string ToText() const noexcept;

  /// Fills the schedule from 168 characters, each taken as its code less that of '0' without a
  /// check. A shorter text changes nothing.
  void FromText(const std::string& text) noexcept;

  /// Fills the schedule from a row's text, which may be short: hours that it does not name with 0,
  /// 1 or 2 are RECORDING_NONE. The two ways differ on purpose.
  void FromRow(const std::string& text) noexcept;

 private:
  std::array<std::array<RecordingType, kHours>, kDays> slots_{};
};

}  // namespace watchpost
