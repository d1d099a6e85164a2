// The recorder's side of a camera's ring: makes segment and semaphores, removes them.
// Single-writer.
#pragma once

#include <memory>
#include <string>

#include "base/export.h"
#include "ipc/ringbuffer.h"
#include "ipc/sharedmemory.h"

namespace watchpost {

class WATCHPOST_API RingHost {
 public:
  /// Makes a ring of `segment_size` bytes for the camera; removes first what a recorder that died
  /// left under the camera's key. Null, with `error` filled and nothing left behind, when it
  /// cannot: the kernel's limits may not be written, its memory or semaphores are used up, or
  /// another living process keeps a ring under that key.
  static std::unique_ptr<RingHost> Create(int camera_id, int segment_size, std::string& error);

  /// Marks the ring as gone for its readers, then removes semaphores and segment. Readers who are
  /// attached stay so, and find no new frames.
  ~RingHost();
  RingHost(const RingHost&) = delete;
  RingHost& operator=(const RingHost&) = delete;

  enum class Published {
    kDone,
    kFull,   ///< there was no room for it
    kStuck,  ///< a process that was stopped keeps a lock: make another ring
  };

  /// Copies a frame into the ring. Waits for nobody for longer than 20 ms.
  Published Publish(const unsigned char* frame, int size) noexcept;

  /// Whether anybody else is attached. One cheap system call.
  [[nodiscard]] bool HasReaders() const noexcept;

  [[nodiscard]] RingBuffer& Ring() const { return *static_cast<RingBuffer*>(attachment_.Get()); }

 private:
  RingHost(ShmSegment segment, ShmAttachment attachment)
      : segment_(std::move(segment)), attachment_(std::move(attachment)) {}

  ShmSegment segment_;
  ShmAttachment attachment_;
  bool has_semaphores_ = false;
};

}  // namespace watchpost
