#include "motion/md.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "motion/mdworkspace_internal.h"

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
  if (!watchpost::CreateDecoder(workspace.a)) return false;
  if (watchpost::CreateDecoder(workspace.b)) return true;
  watchpost::DestroyDecoder(workspace.a);
  return false;
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
  watchpost::FreeAreas(*detection->workspace);
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
