#include "database/health.h"

#include <charconv>

#include "database/statement.h"
#include "database/wpdb.h"

namespace watchpost {
namespace {

// Whether the database's comment names an earlier version.
bool IsOld(const std::string& comment) {
  if (!comment.starts_with(kSchemaComment)) return false;
  int version = 0;
  const char* digits = comment.c_str() + sizeof kSchemaComment - 1;
  const auto [end, error] = std::from_chars(digits, comment.c_str() + comment.size(), version);
  return error == std::errc() && *end == '\0' && version < kSchemaVersion;
}

}  // namespace

bool DatabaseAnswers() noexcept {
  pg_conn* conn = WPDBConnect();
  WPDBClose(conn);
  return conn != nullptr;
}

DatabaseState ExamineDatabase() noexcept {
  constexpr int kTables = 5;
  if (!DatabaseAnswers()) return DatabaseState::kAway;
  const ResultPtr result = Query(
      "SELECT count(*), (SELECT shobj_description(oid, 'pg_database') FROM pg_database WHERE "
      "datname = current_database()) AS comment FROM pg_tables WHERE tablename IN "
      "('camera', 'motion', 'notification', 'event', 'camerastatus')");
  RowCursor rows(result.get());
  if (!rows.Next() || rows.Get().Int("count") != kTables) return DatabaseState::kNoTables;
  return IsOld(rows.Get().Text("comment")) ? DatabaseState::kOldSchema : DatabaseState::kReady;
}

}  // namespace watchpost
