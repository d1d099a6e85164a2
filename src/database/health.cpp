#include "database/health.h"

#include "database/statement.h"
#include "database/wpdb.h"

namespace watchpost {

bool DatabaseAnswers() noexcept {
  pg_conn* conn = WPDBConnect();
  WPDBClose(conn);
  return conn != nullptr;
}

DatabaseState ExamineDatabase() noexcept {
  constexpr int kTables = 5;
  if (!DatabaseAnswers()) return DatabaseState::kAway;
  const ResultPtr result = Query(
      "SELECT count(*) FROM pg_tables WHERE tablename IN "
      "('camera', 'motion', 'notification', 'event', 'camerastatus')");
  RowCursor rows(result.get());
  const bool complete = rows.Next() && rows.Get().Int("count") == kTables;
  return complete ? DatabaseState::kReady : DatabaseState::kNoTables;
}

}  // namespace watchpost
