#include "database/wpdb.h"

#include <memory>
#include <vector>

#include "base/diagnostics_internal.h"
#include "database/row.h"

namespace {

constexpr char kLogSource[] = "wpdb";
constexpr std::size_t kLongestText = 65535;

struct ConnectionCloser {
  void operator()(pg_conn* conn) const noexcept { WPDBClose(conn); }
};
using ConnectionPtr = std::unique_ptr<pg_conn, ConnectionCloser>;

}  // namespace

const char* const gszDBHost = "localhost";
const char* const gszDBUser = "admin";
const char* const gszDBPass = "kq@zmptro";
const char* const gszDBName = "surveillance";

const char* const gszTableCamera = "camera";
const char* const gszTableEvent = "event";
const char* const gszTableMotion = "motion";
const char* const gszTableNotification = "notification";
const char* const gszTableStatus = "camerastatus";

pg_conn* WPDBConnect() noexcept {
  return ORVADBConnect(gszDBHost, gszDBUser, gszDBPass, gszDBName);
}

void WPDBClose(pg_conn* conn) noexcept {
  ORVADBClose(conn);
}

int WPDBExecute(std::string sql, __tag_DBResult** result) noexcept {
  const ConnectionPtr conn(WPDBConnect());
  if (conn == nullptr) return -1;
  DBResult* handle = nullptr;
  const int failed = ORVADBExecute(conn.get(), sql.c_str(), &handle);
  watchpost::ResultPtr local(handle);
  if (failed != 0) return -1;
  if (result != nullptr) *result = local.release();
  return 0;
}

int WPDBExecute(std::string sql) noexcept {
  return WPDBExecute(std::move(sql), nullptr);
}

int WPDBTableIdMax(std::string table) noexcept {
  DBResult* result = nullptr;
  if (WPDBExecute("SELECT id FROM " + table + " ORDER BY id DESC LIMIT 1", &result) != 0) return -1;
  const watchpost::ResultPtr owner(result);
  watchpost::RowCursor rows(result);
  return rows.Next() && rows.Get().Has("id") ? rows.Get().Int("id") : -1;
}

int WPDBTableIdMax(const char* table) noexcept {
  return table == nullptr ? -1 : WPDBTableIdMax(std::string(table));
}

std::string WPDBEscapeString(std::string text) noexcept {
  if (text.size() > kLongestText) {
    WP_LOG("String exceed 64k");
    return "";
  }
  std::vector<char> buffer(2 * text.size() + 1);
  ORVADBEscapeString(buffer.data(), text.data(), static_cast<unsigned int>(text.size()));
  return buffer.data();
}
