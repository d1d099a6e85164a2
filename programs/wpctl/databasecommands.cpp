// wpctl db: provisioning the database.

#include <libpq-fe.h>
#include <watchpost/database/health.h>
#include <watchpost/database/wpdb.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "commands.h"
#include "report.h"
#include "schema.h"
#include "scramverifier.h"

namespace wpctl {
namespace {

constexpr char kSchemaName[] = "watchpost schema ";

struct ConnectionDeleter {
  void operator()(PGconn* conn) const noexcept { PQfinish(conn); }
};
using watchpost::kSchemaVersion;
using ConnectionPtr = std::unique_ptr<PGconn, ConnectionDeleter>;

struct ResultDeleter {
  void operator()(PGresult* result) const noexcept { PQclear(result); }
};

// An administrator's connection, as libpq's environment describes it.
class Administrator {
 public:
  explicit Administrator(const char* database) {
    const char* keywords[] = {"dbname", "connect_timeout", "application_name", nullptr};
    const char* values[] = {database, "10", "wpctl", nullptr};
    conn_.reset(PQconnectdbParams(keywords, values, 0));
    PQsetNoticeProcessor(
        conn_.get(), [](void*, const char*) {}, nullptr);
  }

  [[nodiscard]] bool IsConnected() const { return PQstatus(conn_.get()) == CONNECTION_OK; }

  /// The server's last message, as one line.
  [[nodiscard]] std::string Error() const {
    std::string text = PQerrorMessage(conn_.get());
    while (!text.empty() && text.back() == '\n') text.pop_back();
    for (char& c : text) c = c == '\n' ? ' ' : c;
    return text;
  }

  bool Run(const std::string& sql) {
    std::string ignored;
    return Ask(sql, ignored);
  }

  /// Runs a statement and keeps the first value of its first row; "" without one.
  bool Ask(const std::string& sql, std::string& value) {
    const std::unique_ptr<PGresult, ResultDeleter> result(PQexec(conn_.get(), sql.c_str()));
    const ExecStatusType status = PQresultStatus(result.get());
    value = PQntuples(result.get()) > 0 ? PQgetvalue(result.get(), 0, 0) : "";
    return status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK;
  }

 private:
  ConnectionPtr conn_;
};

// The verifier, not the password, goes to the server, which may log statements. The role's password
// is the same on every installation, so that many rounds of hashing would protect nothing; they
// would only make each statement, which logs in anew, cost milliseconds of processor time on both
// sides.
bool ProvisionRole(Administrator& server) {
  constexpr int kIterations = 1;
  std::string exists;
  if (!server.Ask(std::string("SELECT 1 FROM pg_roles WHERE rolname = '") + gszDBUser + "'",
                  exists))
    return false;
  return server.Run((exists.empty() ? "CREATE ROLE " : "ALTER ROLE ") + std::string(gszDBUser) +
                    " LOGIN PASSWORD '" + ScramVerifier(gszDBPass, kIterations) + "'");
}

// Makes the database unless it is there; one with another encoding is left alone.
bool ProvisionDatabase(Administrator& server, std::string& error) {
  std::string encoding;
  bool done = server.Ask(
      std::string("SELECT pg_encoding_to_char(encoding) FROM pg_database WHERE datname = '") +
          gszDBName + "'",
      encoding);
  if (done && encoding.empty()) {
    done = server.Run(std::string("CREATE DATABASE ") + gszDBName + " OWNER " + gszDBUser +
                      " ENCODING 'SQL_ASCII' LC_COLLATE 'C' LC_CTYPE 'C' TEMPLATE template0");
  } else if (done && encoding != "SQL_ASCII") {
    error = std::string("there is a database \"") + gszDBName + "\" of encoding " + encoding +
            " already, where SQL_ASCII is needed; rename it, or use another server";
    return false;
  }
  if (!done) error = server.Error();
  return done;
}

bool ProvisionSchema(Administrator& database, std::string& error) {
  const std::string wanted = kSchemaName + std::to_string(kSchemaVersion);
  std::string found;
  if (!database.Ask("SELECT shobj_description(oid, 'pg_database') FROM pg_database WHERE datname = "
                    "current_database()",
                    found)) {
    error = database.Error();
    return false;
  }
  if (found == wanted) return true;
  if (found.starts_with(kSchemaName)) {
    const std::string version = found.substr(sizeof kSchemaName - 1);
    error = "the database holds schema version " + version + ", this program needs " +
            std::to_string(kSchemaVersion) + ": run sql/upgrade-" + version + "-to-" +
            std::to_string(kSchemaVersion) + ".sql with psql first";
    return false;
  }
  if (database.Run("BEGIN") && database.Run(std::string("SET LOCAL ROLE ") + gszDBUser) &&
      database.Run(kSchema) && database.Run("RESET ROLE") &&
      database.Run(std::string("COMMENT ON DATABASE ") + gszDBName + " IS '" + wanted + "'") &&
      database.Run("COMMIT")) {
    return true;
  }
  error = database.Error();
  return false;
}

int InitDatabase() {
  const char* given = std::getenv("PGDATABASE");
  Administrator server(given == nullptr || *given == '\0' ? "postgres" : nullptr);
  if (!server.IsConnected()) {
    return Failed("no administrator's connection; set PGHOST, PGPORT, PGUSER and PGPASSWORD: " +
                  server.Error());
  }
  std::string error;
  if (!ProvisionRole(server)) return Failed(server.Error());
  if (!ProvisionDatabase(server, error)) return Failed(error);
  Administrator database(gszDBName);
  if (!database.IsConnected()) return Failed(database.Error());
  if (!ProvisionSchema(database, error)) return Failed(error);

  if (!watchpost::DatabaseAnswers()) {
    return Failed(std::string("all is in place, but role \"") + gszDBUser +
                  "\" cannot connect to " + gszDBHost +
                  " over TCP: see listen_addresses, pg_hba.conf and PGPORT");
  }
  std::printf("Database \"%s\" is ready (schema version %d).\n", gszDBName, kSchemaVersion);
  return kDone;
}

}  // namespace

void AddDatabaseCommands(CLI::App& app, int& status) {
  CLI::App* group = app.add_subcommand("db", "The database")->require_subcommand(1);
  CLI::App* init =
      group->add_subcommand("init", "Make role, database and tables; harmless when they are there");
  init->footer(
      "Connects as libpq's environment says, with a role that may create roles and databases.\n"
      "\nExamples:\n"
      "  PGHOST=localhost PGUSER=postgres PGPASSWORD=... wpctl db init");
  init->callback([&status] { status = InitDatabase(); });
}

}  // namespace wpctl
