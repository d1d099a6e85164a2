#include "event/wplog.h"

#include "platform/orvalog.h"

namespace {

constexpr int kEventLog = 8;
constexpr int kEventLevel = 1;

}  // namespace

int WPLog(
    WP_LOG_TYPE type, const char* a1, const char* a2, const char* a3, const char* a4) noexcept {
  (void)ORVALogSet1(
      kEventLog, kEventLevel, type, a1, a2, a3, a4);  // an unwritable log holds nobody up
  return 0;
}
