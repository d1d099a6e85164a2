// One recording that is being made: its file, its motion log and what its row should say. One
// thread uses an object.
#pragma once

#include <watchpost/camera/camera.h>
#include <watchpost/event/event.h>
#include <watchpost/media/mje.h>
#include <watchpost/motion/mdlog.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "frame.h"

namespace wpd {

class Recording {
 public:
  /// Creates the file for a recording that begins with `first`, in the camera's folder. Null, with
  /// `error` filled, when it cannot.
  static std::unique_ptr<Recording> Start(const Camera& camera,
                                          EVENT_CAUSE cause,
                                          const Frame& first,
                                          std::string& error);

  /// Finishes the file.
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// Appends a frame whose motion level is `level`. The first one is written at once; the others
  /// are gathered, up to a fifth of a second or 256 KiB, as one large write costs a fraction of
  /// many. Returns an MJE_STATUS; on failure none of the gathered frames is in the file, nor in the
  /// row.
  [[nodiscard]] int Write(const Frame& frame, int level);

  /// Writes what is gathered. As Write.
  [[nodiscard]] int WriteGathered();

  /// Writes what is gathered when that is `now` a fifth of a second old. As Write.
  [[nodiscard]] int WriteOverdue(std::chrono::steady_clock::time_point now);

  /// Completes the file with the frame rate that was measured. False when a part of it could not be
  /// written; the frames that the row counts are in the file all the same. Called again, does
  /// nothing.
  bool Finish();

  /// Removes the file, of which nothing is worth keeping.
  void Discard();

  /// Whether the file is still where it was created.
  [[nodiscard]] bool IsInPlace() const;

  [[nodiscard]] const std::string& Path() const { return path_; }
  [[nodiscard]] const Event& Row() const { return row_; }
  [[nodiscard]] watchpost::PictureSize Size() const { return size_; }
  /// Of the file, and of what is gathered.
  [[nodiscard]] std::uint64_t Bytes() const {
    return watchpost::WrittenBytes(file_) + gathered_.bytes.size();
  }
  /// What the file has come to take on its disk since the last call, in bytes.
  std::uint64_t TakeGrowth();
  /// How far the wall clock has been set, either way, since the first frame.
  [[nodiscard]] std::chrono::milliseconds ClockStep(const Frame& now) const;
  [[nodiscard]] std::chrono::steady_clock::duration Age(
      std::chrono::steady_clock::time_point now) const {
    return now - first_;
  }

 private:
  Recording(const Camera& camera, EVENT_CAUSE cause, const Frame& first, std::string name);

  /// Frames that are not in the file yet.
  struct Gathered {
    std::vector<unsigned char> bytes;
    std::vector<std::uint32_t> sizes;
    std::vector<unsigned char> levels;
    std::chrono::steady_clock::time_point first;
    std::chrono::steady_clock::time_point last;
  };

  bool Open();
  [[nodiscard]] std::uint16_t MeasuredRate() const;

  watchpost::PictureSize size_;
  std::uint16_t nominal_rate_;
  std::chrono::system_clock::time_point first_wall_;
  std::chrono::steady_clock::time_point first_;
  std::chrono::steady_clock::time_point last_;
  Event row_;
  std::string folder_;
  std::string path_;
  MJE_HANDLE file_ = nullptr;
  std::uint64_t inode_ = 0;
  std::uint64_t taken_ = 0;  // by TakeGrowth
  std::unique_ptr<MDLog> levels_;
  Gathered gathered_;
};

}  // namespace wpd
