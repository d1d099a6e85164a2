#include "camera/schedule.h"

#include <cstddef>

namespace watchpost {

bool Schedule::Has(int day, int hour) noexcept {
  return day >= 0 && day < kDays && hour >= 0 && hour < kHours;
}

RecordingType Schedule::Get(int day, int hour) const noexcept {
  if (!Has(day, hour)) return RECORDING_NONE;
  return slots_[static_cast<std::size_t>(day)][static_cast<std::size_t>(hour)];
}

bool Schedule::Set(int day, int hour, RecordingType type) noexcept {
  if (!Has(day, hour)) return false;
  slots_[static_cast<std::size_t>(day)][static_cast<std::size_t>(hour)] = type;
  return true;
}

std::string Schedule::ToText() const noexcept {
  std::string text;
  for (const auto& day : slots_) {
    for (const RecordingType slot : day) {
      if (slot >= RECORDING_NONE && slot <= RECORDING_MOTION) text += static_cast<char>('0' + slot);
    }
  }
  return text;
}

void Schedule::FromText(const std::string& text) noexcept {
  if (text.size() < static_cast<std::size_t>(kDays * kHours)) return;
  for (int i = 0; i < kDays * kHours; ++i) {
    const int value = static_cast<unsigned char>(text[static_cast<std::size_t>(i)]) - '0';
    (void)Set(i / kHours, i % kHours, static_cast<RecordingType>(value));  // always in range
  }
}

void Schedule::FromRow(const std::string& text) noexcept {
  slots_ = {};
  for (int i = 0; i < kDays * kHours && i < static_cast<int>(text.size()); ++i) {
    const char digit = text[static_cast<std::size_t>(i)];
    if (digit < '0' || digit > '2') continue;
    (void)Set(i / kHours, i % kHours, static_cast<RecordingType>(digit - '0'));  // always in range
  }
}

}  // namespace watchpost
