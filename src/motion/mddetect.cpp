#include <utility>

#include "motion/md.h"
#include "motion/mdworkspace_internal.h"

namespace {

using watchpost::AbortPicture;
using watchpost::Compare;
using watchpost::FinishPicture;
using watchpost::IsImageCompatible;
using watchpost::ReadCoefficients;
using watchpost::ReadHeader;
using watchpost::UpdateMask;

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
  if (const int status = UpdateMask(detection, a.shape); status != MD_OK) return status;
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
  if (const int status = UpdateMask(detection, next.shape); status != MD_OK) return status;
  return ReadCoefficients(next, detection.fast != 0);
}

int EndSequence(MD_WORKSPACE& workspace) {
  MD_DECODER* open = workspace.a.open != 0 ? &workspace.a : &workspace.b;
  if (open->open == 0) return MD_ERR_PARAM;
  if (!FinishPicture(*open)) AbortPicture(*open);
  return MD_REFERENCE;
}

}  // namespace

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
    status = Compare(*detection, a, b, level);
    const bool judged = status != MD_ERR_JPEG && status != MD_ERR_MEMORY;
    if (judged && FinishPicture(a)) return status;  // the next call finishes b
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

  const int read = ReadNext(*detection, has_reference ? reference : nullptr, *next, picture, size);
  if (read != MD_OK) {
    AbortPicture(*next);
    return read;
  }
  int status = MD_REFERENCE;
  if (has_reference) {
    status = Compare(*detection, *reference, *next, level);
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
  return status;
}
