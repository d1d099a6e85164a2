#include "motion/md.h"

#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "motion/mdcompare_internal.h"
#include "motion/mddecoder_internal.h"
#include "motion/mdmask_internal.h"

using watchpost::AbortPicture;
using watchpost::Compare;
using watchpost::FinishPicture;
using watchpost::IsImageCompatible;
using watchpost::ReadCoefficients;
using watchpost::ReadHeader;
using watchpost::UpdateMask;

/// Two decompressors, each of which may hold a picture, and the detection area.
struct MD_WORKSPACE {
  MD_DECODER a;
  MD_DECODER b;
  MD_AREA areas[3];
  watchpost::DcScanner scanner;
  /// The picture that the one that is open was read from: cameras repeat pictures, and one that was
  /// read in fast mode is read again when the mode changes.
  std::unique_ptr<unsigned char[]> picture;
  int size;
  int room;
};

namespace {

constexpr int kHighestSensitivity = 100;

bool IsRange(const unsigned char range[4]) {
  return range != nullptr && range[0] <= range[3] && range[1] <= range[2];
}

bool Equals(const MD_RANGE& node, const unsigned char range[4]) {
  return node.top == range[0] && node.left == range[1] && node.right == range[2] &&
         node.bottom == range[3];
}

// The link that points to the range; the last one, null, when it is not there.
MD_RANGE** FindLink(MD_DETECTION& detection, const unsigned char range[4]) {
  MD_RANGE** link = &detection.ranges;
  while (*link != nullptr && !Equals(**link, range)) link = &(*link)->next;
  return link;
}

bool CreateDecoders(MD_WORKSPACE& workspace) {
  if (!watchpost::CreateDecoder(workspace.a, workspace.scanner)) return false;
  if (watchpost::CreateDecoder(workspace.b, workspace.scanner)) return true;
  watchpost::DestroyDecoder(workspace.a);
  return false;
}

// Both pictures from header to coefficients; MD_OK when they can be compared.
int ReadPair(MD_DETECTION& detection,
             const unsigned char* picture1,
             int size1,
             const unsigned char* picture2,
             int size2) {
  MD_DECODER& a = detection.workspace->a;
  MD_DECODER& b = detection.workspace->b;
  if (!FinishPicture(a) || !FinishPicture(b)) return MD_ERR_JPEG;
  if (!ReadHeader(a, picture1, size1) || !ReadHeader(b, picture2, size2)) return MD_ERR_JPEG;
  if (!IsImageCompatible(a.shape, b.shape)) return MD_ERR_INCOMPATIBLE;
  if (const int status = UpdateMask(detection, detection.workspace->areas, a.shape);
      status != MD_OK)
    return status;
  const bool fast = detection.fast != 0;
  const int status = ReadCoefficients(a, fast);
  return status == MD_OK ? ReadCoefficients(b, fast) : status;
}

// The next picture of a sequence up to its coefficients; `reference` is null for the first one.
int ReadNext(MD_DETECTION& detection,
             const MD_DECODER* reference,
             MD_DECODER& next,
             const unsigned char* picture,
             int size) {
  if (!ReadHeader(next, picture, size)) return MD_ERR_JPEG;
  if (reference != nullptr && !IsImageCompatible(reference->shape, next.shape))
    return MD_ERR_INCOMPATIBLE;
  if (const int status = UpdateMask(detection, detection.workspace->areas, next.shape);
      status != MD_OK)
    return status;
  return ReadCoefficients(next, detection.fast != 0);
}

// Without memory for it, the next picture is one that does not equal it.
void KeepPicture(MD_WORKSPACE& workspace, const unsigned char* picture, int size) {
  const auto bytes = static_cast<std::size_t>(size);
  if (workspace.room < size) {
    workspace.picture.reset(new (std::nothrow) unsigned char[bytes]);
    workspace.room = workspace.picture == nullptr ? 0 : size;
  }
  workspace.size = workspace.picture == nullptr ? 0 : size;
  if (workspace.size != 0) std::memcpy(workspace.picture.get(), picture, bytes);
}

bool IsRepeated(const MD_WORKSPACE& workspace, const unsigned char* picture, int size) {
  return size == workspace.size &&
         std::memcmp(picture, workspace.picture.get(), static_cast<std::size_t>(size)) == 0;
}

// Nothing has changed, so that nothing has to be read.
int JudgeRepeated(MD_DETECTION& detection, MD_DECODER& reference, unsigned* level) {
  MD_AREA(&areas)[3] = detection.workspace->areas;
  const int status = UpdateMask(detection, areas, reference.shape);
  return status == MD_OK ? Compare(detection, areas, reference, reference, level) : status;
}

// The reference with all its coefficients, when it was read in fast mode.
int ReadReferenceWhole(MD_WORKSPACE& workspace, MD_DECODER& reference) {
  if (reference.coefficients != nullptr) return MD_OK;
  if (workspace.size == 0) return MD_ERR_MEMORY;
  AbortPicture(reference);
  if (!ReadHeader(reference, workspace.picture.get(), workspace.size)) return MD_ERR_JPEG;
  const int status = ReadCoefficients(reference, false);
  reference.open = status == MD_OK ? 1 : 0;
  return status;
}

int EndSequence(MD_WORKSPACE& workspace) {
  MD_DECODER* open = workspace.a.open != 0 ? &workspace.a : &workspace.b;
  if (open->open == 0) return MD_ERR_PARAM;
  if (!FinishPicture(*open)) AbortPicture(*open);
  return MD_REFERENCE;
}

}  // namespace

int MD_CreateDetection(MD_DETECTION* detection) noexcept {
  if (detection == nullptr) return MD_ERR_PARAM;
  *detection = {};
  detection->mask_dirty = 1;
  auto* workspace = new (std::nothrow) MD_WORKSPACE{};
  if (workspace == nullptr) return MD_ERR_MEMORY;
  if (!CreateDecoders(*workspace)) {
    delete workspace;
    return MD_ERR_MEMORY;
  }
  detection->workspace = workspace;
  return MD_OK;
}

int MD_FinishDetection(MD_DETECTION* detection) noexcept {
  if (detection == nullptr) return MD_ERR_PARAM;
  while (detection->ranges != nullptr) {
    MD_RANGE* next = detection->ranges->next;
    delete detection->ranges;
    detection->ranges = next;
  }
  watchpost::FreeMask(*detection);
  detection->sensitivity = 0;
  detection->fast = 0;
  detection->mask_dirty = 1;
  if (detection->workspace == nullptr) return MD_OK;
  watchpost::DestroyDecoder(detection->workspace->a);
  watchpost::DestroyDecoder(detection->workspace->b);
  watchpost::FreeAreas(detection->workspace->areas);
  delete detection->workspace;
  detection->workspace = nullptr;
  return MD_OK;
}

int MD_SetDetectRange(MD_DETECTION* detection, const unsigned char range[4]) noexcept {
  if (detection == nullptr || !IsRange(range)) return MD_ERR_PARAM;
  if (*FindLink(*detection, range) != nullptr) return MD_OK;
  auto* node =
      new (std::nothrow) MD_RANGE{range[0], range[1], range[2], range[3], detection->ranges};
  if (node == nullptr) return MD_ERR_MEMORY;
  detection->ranges = node;
  detection->mask_dirty = 1;
  return MD_OK;
}

int MD_RemoveDetectRange(MD_DETECTION* detection, const unsigned char range[4]) noexcept {
  if (detection == nullptr || !IsRange(range)) return MD_ERR_PARAM;
  MD_RANGE** link = FindLink(*detection, range);
  MD_RANGE* node = *link;
  if (node == nullptr) return MD_OK;
  *link = node->next;
  delete node;
  detection->mask_dirty = 1;
  return MD_OK;
}

int MD_SetMDSensitivity(MD_DETECTION* detection, int sensitivity) noexcept {
  const auto low = static_cast<std::uint8_t>(sensitivity);
  if (detection == nullptr || low > kHighestSensitivity) return MD_ERR_PARAM;
  detection->sensitivity = low;
  return MD_OK;
}

int MD_EnableFastMD(MD_DETECTION* detection, int enable) noexcept {
  if (detection == nullptr) return MD_ERR_PARAM;
  detection->fast = static_cast<std::uint8_t>(enable);
  return MD_OK;
}

int MD_DetectMotion(MD_DETECTION* detection,
                    const unsigned char* picture1,
                    int size1,
                    const unsigned char* picture2,
                    int size2,
                    unsigned* level) noexcept {
  if (detection == nullptr || picture1 == nullptr || size1 <= 0 || picture2 == nullptr ||
      size2 <= 0 || level == nullptr || detection->ranges == nullptr ||
      detection->workspace == nullptr) {
    return MD_ERR_PARAM;
  }
  MD_DECODER& a = detection->workspace->a;
  MD_DECODER& b = detection->workspace->b;
  int status = ReadPair(*detection, picture1, size1, picture2, size2);
  if (status == MD_OK) {
    a.open = b.open = 1;
    status = Compare(*detection, detection->workspace->areas, a, b, level);
    const bool judged = status != MD_ERR_JPEG && status != MD_ERR_MEMORY;
    if (judged && FinishPicture(a)) {
      KeepPicture(*detection->workspace, picture2, size2);
      return status;  // the next call finishes b
    }
    if (judged) status = MD_ERR_JPEG;
  }
  // Whatever state an outcome leaves the decompressors in, the next picture begins afresh.
  AbortPicture(a);
  AbortPicture(b);
  return status;
}

int MD_DetectMotionSeq(MD_DETECTION* detection,
                       const unsigned char* picture,
                       int size,
                       unsigned* level) noexcept {
  if (detection == nullptr || detection->ranges == nullptr || detection->workspace == nullptr)
    return MD_ERR_PARAM;
  MD_WORKSPACE& workspace = *detection->workspace;
  if (picture == nullptr) return EndSequence(workspace);
  if (size <= 0 || level == nullptr) return MD_ERR_PARAM;
  MD_DECODER* reference = &workspace.a;
  MD_DECODER* next = &workspace.b;
  if (reference->open == 0) std::swap(reference, next);
  const bool has_reference = reference->open != 0;

  if (has_reference && IsRepeated(workspace, picture, size))
    return JudgeRepeated(*detection, *reference, level);
  if (has_reference && detection->fast == 0) {
    if (const int whole = ReadReferenceWhole(workspace, *reference); whole != MD_OK) {
      AbortPicture(*reference);
      return whole;
    }
  }
  const int read = ReadNext(*detection, has_reference ? reference : nullptr, *next, picture, size);
  if (read != MD_OK) {
    AbortPicture(*next);
    return read;
  }
  int status = MD_REFERENCE;
  if (has_reference) {
    status = Compare(*detection, workspace.areas, *reference, *next, level);
    if (!FinishPicture(*reference)) {
      AbortPicture(*reference);
      status = MD_ERR_JPEG;
    }
    if (status == MD_ERR_JPEG || status == MD_ERR_MEMORY) {
      AbortPicture(*next);
      return status;
    }
  }
  next->open = 1;
  KeepPicture(workspace, picture, size);
  return status;
}
