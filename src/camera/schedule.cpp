#include "camera/schedule.h"

#include <ctime>

#include "camera/camera.h"
#include "foundation/log_internal.h"

namespace {

constexpr char kLogSource[] = "camera";

}  // namespace

bool Camera::IsTimeParamValid(int day, int hour) const noexcept {
  return day >= 0 && day < kDays && hour >= 0 && hour < kHours;
}

RecordingType Camera::GetSchedule(int day, int hour) const noexcept {
  if (!IsTimeParamValid(day, hour)) return RECORDING_NONE;
  return schedule_[static_cast<std::size_t>(day)][static_cast<std::size_t>(hour)];
}

int Camera::SetSchedule(int day, int hour, RecordingType type) noexcept {
  if (!IsTimeParamValid(day, hour)) return -1;
  schedule_[static_cast<std::size_t>(day)][static_cast<std::size_t>(hour)] = type;
  return 0;
}

RecordingType Camera::GetCurrentSchedule() const noexcept {
  const time_t now = time(nullptr);
  tm local{};
  if (localtime_r(&now, &local) == nullptr) {
    WP_LOG("Failed to get schedule");
    return RECORDING_NONE;
  }
  return GetSchedule(local.tm_wday, local.tm_hour);
}

std::string Camera::StringFromSchedule() const noexcept {
  std::string text;
  for (const auto& day : schedule_) {
    for (const RecordingType slot : day) {
      if (slot >= RECORDING_NONE && slot <= RECORDING_MOTION) text += static_cast<char>('0' + slot);
    }
  }
  return text;
}

// Takes any value, unlike LoadSchedule: the two differ on purpose.
void Camera::ScheduleFromString(std::string text) noexcept {
  if (text.size() < static_cast<std::size_t>(kDays * kHours)) return;
  for (int i = 0; i < kDays * kHours; ++i) {
    const int value = static_cast<unsigned char>(text[static_cast<std::size_t>(i)]) - '0';
    (void)SetSchedule(
        i / kHours, i % kHours, static_cast<RecordingType>(value));  // always in range
  }
}

void Camera::LoadSchedule(const std::string& text) noexcept {
  schedule_ = {};
  for (int i = 0; i < kDays * kHours && i < static_cast<int>(text.size()); ++i) {
    const char digit = text[static_cast<std::size_t>(i)];
    if (digit < '0' || digit > '2') continue;
    (void)SetSchedule(
        i / kHours, i % kHours, static_cast<RecordingType>(digit - '0'));  // always in range
  }
}

void Camera::DumpSchedule() const noexcept {
  for (const auto& day : schedule_) {
    std::string line;
    for (const RecordingType slot : day) {
      line += slot >= RECORDING_NONE && slot <= RECORDING_MOTION ? "_CM"[slot] : 'X';
      line += ' ';
    }
  }
}
