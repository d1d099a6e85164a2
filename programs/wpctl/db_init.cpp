// wpctl db init: provisioning the database.

#include <watchpost/database/health.h>
#include <watchpost/database/wpdb.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "commands.h"
#include "db_administrator.h"
#include "report.h"
#include "schema.h"
#include "scramverifier.h"
#include "verb.h"

namespace wpctl {
namespace {

using watchpost::kSchemaVersion;

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
  int found = 0;
  if (!ReadSchemaVersion(database, found)) {
    error = database.Error();
    return false;
  }
  if (found == kSchemaVersion) return true;
  if (found != 0) {
    error = "the database holds schema version " + std::to_string(found) + ", this program needs " +
            std::to_string(kSchemaVersion) + ": " +
            (found < kSchemaVersion ? "run \"wpctl db upgrade\"" : "install a newer one");
    return false;
  }
  if (RunSchemaStep(database, kSchema, kSchemaVersion)) return true;
  error = database.Error();
  return false;
}

int InitDatabase() {
  const char* given = std::getenv("PGDATABASE");
  Administrator server(given == nullptr || *given == '\0' ? "postgres" : nullptr);
  if (!server.IsConnected()) return Failed(NoConnection(server));
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

void AddDbInit(Group& db) {
  const Command verb =
      db.Add("init", "Make role, database and tables; harmless when they are there", InitDatabase);
  AddExamples(
      verb,
      "Connects as libpq's environment says, with a role that may create roles and databases.",
      {"PGHOST=localhost PGUSER=postgres PGPASSWORD=... wpctl db init"});
}

}  // namespace wpctl
