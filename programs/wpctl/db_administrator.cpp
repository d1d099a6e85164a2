#include "db_administrator.h"

#include <watchpost/database/health.h>
#include <watchpost/database/wpdb.h>

#include <charconv>

namespace wpctl {
namespace {

struct ResultDeleter {
  void operator()(PGresult* result) const noexcept { PQclear(result); }
};

}  // namespace

Administrator::Administrator(const char* database) {
  const char* keywords[] = {"dbname", "connect_timeout", "application_name", nullptr};
  const char* values[] = {database, "10", "wpctl", nullptr};
  conn_.reset(PQconnectdbParams(keywords, values, 0));
  PQsetNoticeProcessor(
      conn_.get(), [](void*, const char*) {}, nullptr);
}

std::string Administrator::Error() const {
  std::string text = PQerrorMessage(conn_.get());
  while (!text.empty() && text.back() == '\n') text.pop_back();
  for (char& c : text) c = c == '\n' ? ' ' : c;
  return text;
}

bool Administrator::Run(const std::string& sql) {
  std::string ignored;
  return Ask(sql, ignored);
}

bool Administrator::Ask(const std::string& sql, std::string& value) {
  const std::unique_ptr<PGresult, ResultDeleter> result(PQexec(conn_.get(), sql.c_str()));
  const ExecStatusType status = PQresultStatus(result.get());
  value = PQntuples(result.get()) > 0 ? PQgetvalue(result.get(), 0, 0) : "";
  return status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK;
}

std::string NoConnection(const Administrator& server) {
  return "no administrator's connection; set PGHOST, PGPORT, PGUSER and PGPASSWORD: " +
         server.Error();
}

bool ReadSchemaVersion(Administrator& database, int& version) {
  version = 0;
  std::string comment;
  if (!database.Ask("SELECT shobj_description(oid, 'pg_database') FROM pg_database WHERE datname = "
                    "current_database()",
                    comment))
    return false;
  if (!comment.starts_with(watchpost::kSchemaComment)) return true;
  const char* digits = comment.c_str() + sizeof watchpost::kSchemaComment - 1;
  (void)std::from_chars(digits, comment.c_str() + comment.size(), version);  // stays 0
  return true;
}

bool RunSchemaStep(Administrator& database, const std::string& sql, int version) {
  return database.Run("BEGIN") && database.Run(std::string("SET LOCAL ROLE ") + gszDBUser) &&
         database.Run(sql) && database.Run("RESET ROLE") &&
         database.Run(std::string("COMMENT ON DATABASE ") + gszDBName + " IS '" +
                      watchpost::kSchemaComment + std::to_string(version) + "'") &&
         database.Run("COMMIT");
}

}  // namespace wpctl
