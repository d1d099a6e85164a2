#include "service/services.h"

#include <unistd.h>

#include <ctime>

#include "base/diagnostics_internal.h"
#include "base/utils.h"
#include "database/statement.h"
#include "database/wpdb.h"

namespace {

constexpr char kLogSource[] = "services";

}  // namespace

int DaemonReport::ReportStatus(DAEMON_STATUS status) noexcept {
  if (WPDBExecute(std::string("DELETE FROM ") + gszTableStatus +
                  " WHERE cameraid = " + itos(camera_id_)) != 0) {
    WP_LOG("Unable to delete camera status row [%d]", camera_id_);
    return -1;
  }
  // A row that could not be stored reads as "no status known", which is what is then true.
  (void)watchpost::ExecuteStatement(watchpost::FormatStatement(
      "INSERT INTO %s (cameraid, status, pid, updatetime) VALUES (%d, %d, %d, %ld)",
      gszTableStatus,
      camera_id_,
      status,
      getpid(),
      static_cast<long>(time(nullptr))));
  return 0;
}
