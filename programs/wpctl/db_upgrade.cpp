// wpctl db upgrade: bringing the tables of an earlier version up to date.

#include <watchpost/database/health.h>
#include <watchpost/database/wpdb.h>

#include <cstdio>
#include <iterator>

#include "commands.h"
#include "db_administrator.h"
#include "report.h"
#include "schema.h"
#include "verb.h"

namespace wpctl {
namespace {

using watchpost::kSchemaVersion;

static_assert(std::size(kUpgrades) + 1 == kSchemaVersion, "a step is missing");

int Upgrade() {
  Administrator database(gszDBName);
  if (!database.IsConnected()) return Failed(NoConnection(database));
  int version = 0;
  if (!ReadSchemaVersion(database, version)) return Failed(database.Error());
  if (version < 1)
    return Failed("the database does not say which version it has: run \"wpctl db init\"");
  if (version > kSchemaVersion) {
    return Failed("the database holds schema version " + std::to_string(version) +
                  ", this program knows " + std::to_string(kSchemaVersion) +
                  ": install a newer one");
  }
  for (; version < kSchemaVersion; ++version) {
    if (!RunSchemaStep(database, kUpgrades[version - 1], version + 1))
      return Failed("nothing was changed of version " + std::to_string(version) + ": " +
                    database.Error());
  }
  std::printf("Database \"%s\" is ready (schema version %d).\n", gszDBName, kSchemaVersion);
  return kDone;
}

}  // namespace

void AddDbUpgrade(Group& db) {
  const Command verb =
      db.Add("upgrade",
             "Bring the tables of an earlier version up to date; stop the daemons first",
             Upgrade);
  AddExamples(
      verb,
      "Connects as \"wpctl db init\" does. Each version's step is done whole or not at all.",
      {"PGHOST=localhost PGUSER=postgres PGPASSWORD=... wpctl db upgrade"});
}

}  // namespace wpctl
